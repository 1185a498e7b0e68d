#pragma once

#include "options/Options.h"

#include <string>
#include <variant>
#include <vector>

namespace host {

/// The help text that was asked for.
struct Help {
  std::string text;
};

/// Reads the arguments (without the program's name, UTF-8) and the environment. Throws Failure with
/// Exit::wrongUse for arguments that make no sense.
[[nodiscard]] std::variant<Options, Help> parseCommandLine(const std::vector<std::string>& arguments);

}  // namespace host
