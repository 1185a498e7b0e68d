#pragma once

#include "options/Description.h"

#include <string_view>
#include <vector>

namespace host {

/// What people do most with a command; of the whole program for the empty name.
[[nodiscard]] std::vector<ExampleText> examplesOf(std::string_view command);

}  // namespace host
