#pragma once

#include "system/FileLock.h"

#include <chrono>
#include <functional>
#include <string>

namespace host {

/// One command at a time between reading a platform's logins and storing what a renewal made of them:
/// services take a refresh token once, and who comes second with it would store the spent one.
class LoginLock {
 public:
  /// Longer than any check of a login takes, so that only a holder that is stuck is given up.
  static constexpr std::chrono::seconds longestWait{150};

  /// Waits for the lock; `onWait` is called once when that takes more than a moment. Throws Failure when it
  /// cannot be had within `limit`, or Ctrl-C came.
  void take(const std::string& path, const std::function<void()>& onWait,
            std::chrono::milliseconds limit = longestWait);
  void release() { lock_.release(); }

 private:
  FileLock lock_;
};

}  // namespace host
