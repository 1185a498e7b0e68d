#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace KBL {

/// Keeps threads out of something that is torn down when the process ends, while they may still run. A gate
/// is never freed: threads that outlive the exit handlers ask it. Any thread.
class ExitGate {
 public:
  /// Lets the calling thread in; false once the gate is closing.
  [[nodiscard]] bool enter() {
    if (isClosing_) return false;  // a thread that is no more may have the lock
    const std::lock_guard lock(mutex_);
    if (isClosing_) return false;
    ++inside_;
    return true;
  }

  void leave() {
    const std::lock_guard lock(mutex_);
    --inside_;
    left_.notify_all();
  }

  /// Lets a thread out that has no other way than back in, since it is in the middle of something. False once
  /// the gate is closing: the thread stays inside, and is waited for.
  [[nodiscard]] bool stepOut() {
    const std::lock_guard lock(mutex_);
    if (isClosing_) return false;
    --inside_;
    return true;
  }

  /// The way on inside for a thread that was let out, and for one that was not. It may still come while the
  /// gate waits for others; behind that it is kept here for good, since what it would return into is being
  /// torn down.
  void comeBack(bool wasOut) {
    std::unique_lock lock(mutex_);
    if (!isClosed_) {
      if (wasOut) ++inside_;
      return;
    }
    lock.unlock();
    while (true) std::this_thread::sleep_for(std::chrono::hours(1));
  }

  [[nodiscard]] bool isClosing() const { return isClosing_; }

  /// Grants no further stay, and waits for those inside to leave, but no longer than this.
  void close(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    isClosing_ = true;
    left_.wait_for(lock, patience, [this] { return inside_ == 0; });
    isClosed_ = true;
  }

  /// Grants no further stay and waits for nobody: for a process that has none of the threads inside.
  void closeAtOnce() { isClosing_ = true; }

 private:
  std::mutex mutex_;
  std::condition_variable left_;
  std::atomic<bool> isClosing_{false};
  bool isClosed_ = false;
  int inside_ = 0;
};

}  // namespace KBL
