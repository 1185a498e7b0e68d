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

/// Reads the arguments (without the program's name, UTF-8), the environment and the configuration files in
/// the folder; without a folder there are none. Throws Failure with Exit::wrongUse for what makes no sense.
[[nodiscard]] std::variant<Options, Help> parseCommandLine(const std::vector<std::string>& arguments,
                                                           const std::string& configFolder = {});

/// Whether JSON lines are asked for, also where the other arguments make no sense.
[[nodiscard]] bool asksForJson(const std::vector<std::string>& arguments, const std::string& configFolder);

}  // namespace host
