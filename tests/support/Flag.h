#pragma once

#include "support/WaitUntil.h"

#include <condition_variable>
#include <mutex>

/// A flag that one thread raises and others wait for.
class Flag {
 public:
  void raise() {
    const std::lock_guard lock(mutex_);
    raised_ = true;
    changed_.notify_all();
  }
  /// False when it was not raised within the generous limit.
  [[nodiscard]] bool wait() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, generousLimit, [this] { return raised_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool raised_ = false;
};
