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

/// Ends a command with an exit code and one line that says what is wrong and what to do next.
class Failure : public std::runtime_error {
 public:
  Failure(int exitCode, const std::string& line) : std::runtime_error(line), exit(exitCode) {}
  int exit;
};

}  // namespace host
