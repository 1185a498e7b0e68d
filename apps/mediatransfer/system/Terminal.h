#pragma once

#include <string>
#include <vector>

namespace host {

/// True when people watch the standard output.
[[nodiscard]] bool outputIsTerminal();
/// Columns of the terminal; 80 when it does not tell.
[[nodiscard]] int terminalWidth();
/// The arguments without the program's name, in UTF-8 on every system.
[[nodiscard]] std::vector<std::string> utf8Arguments(int argc, char** argv);

}  // namespace host
