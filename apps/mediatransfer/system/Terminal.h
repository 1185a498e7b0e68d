#pragma once

#include <string>
#include <vector>

namespace host {

/// Opens the standard streams that whoever started the program has closed, to nothing: else the next file or
/// connection would take their place and get what is printed. A pipe that nobody reads gives errors from here
/// on and does not end the process. The first call of the program.
void secureStandardStreams();
/// While it stands, a console of Windows takes what the program writes as the UTF-8 that it is. The code page
/// belongs to the console, and so to whoever uses it afterwards: the former one comes back at the end, but
/// for one that a second Ctrl-C makes.
class Utf8Console {
 public:
  Utf8Console();
  ~Utf8Console();
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;

 private:
  [[maybe_unused]] unsigned formerCodePage_ = 0;  ///< 0 for none
};
/// True when people watch the standard output.
[[nodiscard]] bool outputIsTerminal();
/// True when they also want it in colours: NO_COLOR is not set, and the terminal is not dumb.
[[nodiscard]] bool outputTakesColours();
/// The same of the standard error stream.
[[nodiscard]] bool errorsTakeColours();
/// Columns of the terminal; 80 when it does not tell.
[[nodiscard]] int terminalWidth();
/// The arguments without the program's name, in UTF-8 on every system.
[[nodiscard]] std::vector<std::string> utf8Arguments(int argc, char** argv);

}  // namespace host
