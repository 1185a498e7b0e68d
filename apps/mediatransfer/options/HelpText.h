#pragma once

#include "options/Description.h"

#include <string>

namespace host {

/// The help of the program, for the empty name, or of one of its commands, in lines of at most `width`
/// columns where words allow it.
[[nodiscard]] std::string helpText(const ProgramText& program, const std::string& command, int width);

}  // namespace host
