#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace host {

/// Lines of the standard input, read without blocking for longer than asked. One object a process.
class StandardInput {
 public:
  enum class State { line, nothing, ended };

  /// The next line without its end, when one is there within `limit`. What stands behind the last line end
  /// counts as a line.
  [[nodiscard]] State next(std::string& line, std::chrono::milliseconds limit);

 private:
  bool takeLine(std::string& line);

  std::string buffer_;
  bool ended_ = false;
};

}  // namespace host
