#pragma once

#include <functional>
#include <new>
#include <utility>
#include <vector>

namespace KBL {

/// Log lines that come about under a lock, where the logger, which is the host's, may not be called: each is
/// kept as a call with its values, and `write`, behind the lock, makes the calls in their order. A line that
/// memory is short for is left out. One thread.
class LinesBehindLock {
 public:
  /// `line` logs one line, with values of its own.
  template <class Line>
  void add(Line line) noexcept {
    try {
      lines_.emplace_back(std::move(line));
    } catch (const std::bad_alloc&) {
      // Left out.
    }
  }

  void write() {
    for (const auto& line : std::exchange(lines_, {})) line();
  }

 private:
  std::vector<std::function<void()>> lines_;
};

}  // namespace KBL
