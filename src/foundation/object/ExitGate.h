#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace KBL {

/// Keeps threads out of something that is torn down when the process ends, while they may still run. A gate
/// is never freed: threads that outlive the exit handlers ask it. Any thread.
class ExitGate {
 public:
  /// One stay inside; not granted once the gate is closed.
  class Pass {
   public:
    explicit Pass(ExitGate& gate) : gate_(gate), granted_(gate.enter()) {}
    ~Pass() {
      if (granted_) gate_.leave();
    }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;
    [[nodiscard]] bool isGranted() const { return granted_; }

   private:
    ExitGate& gate_;
    const bool granted_;
  };

  [[nodiscard]] bool isClosing() const { return closing_; }

  /// Grants no further stay, and waits for those inside to leave, but no longer than this.
  void close(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    closing_ = true;
    left_.wait_for(lock, patience, [this] { return inside_ == 0; });
  }

 private:
  bool enter() {
    const std::lock_guard lock(mutex_);
    if (closing_) return false;
    ++inside_;
    return true;
  }

  void leave() {
    const std::lock_guard lock(mutex_);
    --inside_;
    left_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable left_;
  std::atomic<bool> closing_{false};
  int inside_ = 0;
};

}  // namespace KBL
