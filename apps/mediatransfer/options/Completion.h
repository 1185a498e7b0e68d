#pragma once

#include "options/Description.h"

#include <array>
#include <string>
#include <string_view>

namespace host {

inline constexpr std::array<std::string_view, 3> completionShells{"bash", "zsh", "fish"};

/// What a shell, one of `completionShells`, reads to complete the command line. It needs nothing else.
[[nodiscard]] std::string completionScript(const ProgramText& program, std::string_view shell);

}  // namespace host
