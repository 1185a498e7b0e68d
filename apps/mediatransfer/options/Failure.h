#pragma once

#include <stdexcept>
#include <string>

namespace host {

/// The program's exit codes.
namespace Exit {
inline constexpr int done = 0;
inline constexpr int refused = 1;  ///< the service or the transfer said no, or a local file is missing
inline constexpr int wrongUse = 2;
inline constexpr int interrupted = 130;
}  // namespace Exit

/// What is told where the standard output takes no more.
inline constexpr const char* lostOutput =
    "the standard output cannot be written; give it to a program that reads all of it, or to a disk with "
    "room";

/// What kind of trouble an error is, for programs that decide what to do about it.
enum class Cause {
  network,  ///< nobody answers
  login,    ///< somebody has to sign in, or sign in again
  refused,  ///< the service says no, or something that cannot be used
  file,     ///< a file or a folder of this machine
  call      ///< the command line, a setting, or the program's own installation: "interface" in JSON lines
};

/// Ends a command with an exit code and one line that says what is wrong and what to do next.
class Failure : public std::runtime_error {
 public:
  Failure(int exitCode, const std::string& line)
      : std::runtime_error(line),
        exit(exitCode),
        cause(exitCode == Exit::refused ? Cause::refused : Cause::call) {}
  /// With Exit::refused.
  Failure(Cause why, const std::string& line) : std::runtime_error(line), exit(Exit::refused), cause(why) {}
  int exit;
  Cause cause;
};

}  // namespace host
