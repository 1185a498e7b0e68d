#pragma once

#include <cstdint>
#include <string>

namespace host {

/// A lock between processes. The system gives it back when its holder ends, however it ends; the file stays.
class FileLock {
 public:
  enum class State {
    taken,
    busy,     ///< another process, or another lock of this one, holds it
    unusable  ///< the file cannot be made or locked
  };

  FileLock() = default;
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  /// Makes the file for its owner only when it is missing. `path` is UTF-8. Does not wait.
  [[nodiscard]] State tryTake(const std::string& path);
  /// Does nothing without a lock.
  void release();

 private:
  static constexpr std::intptr_t none = -1;
  std::intptr_t file_ = none;  ///< the system's handle
};

}  // namespace host
