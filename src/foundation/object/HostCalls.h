#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace KBL {

/// The callbacks of the host that run now, so that whoever takes one away can wait for it. Needs no memory.
/// Any thread.
class HostCalls {
 public:
  /// One callback of `whom`, for as long as this stands, where it may begin: `mayBegin()` is asked in one
  /// step against `close` and the waits, under a leaf lock.
  class Call {
   public:
    template <class MayBegin>
    Call(HostCalls& calls, const void* whom, MayBegin&& mayBegin) : calls_(calls), whom_(whom) {
      const std::lock_guard lock(calls_.mutex_);
      begun_ = !calls_.closed_ && std::forward<MayBegin>(mayBegin)();
      if (begun_) next_ = std::exchange(calls_.running_, this);
    }
    ~Call() {
      if (begun_) calls_.leave(*this);
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    [[nodiscard]] explicit operator bool() const { return begun_; }

   private:
    friend class HostCalls;

    HostCalls& calls_;
    const void* const whom_;
    bool begun_ = false;
    Call* next_ = nullptr;
  };

  HostCalls() = default;
  HostCalls(const HostCalls&) = delete;
  HostCalls& operator=(const HostCalls&) = delete;

  /// From now on no callback begins.
  void close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
  }

  /// Every callback that begins once this has returned was asked for behind it, and sees in its `mayBegin`
  /// what the caller changed before.
  void settle() { const std::lock_guard lock(mutex_); }

  [[nodiscard]] bool isClosed() {
    const std::lock_guard lock(mutex_);
    return closed_;
  }

  /// True when no callback runs.
  [[nodiscard]] bool none() {
    const std::lock_guard lock(mutex_);
    return running_ == nullptr;
  }

  /// Returns when no callback of `whom` runs (null: none at all); not to be called inside one. The caller
  /// sees to it that no further one begins.
  void waitUntilNone(const void* whom = nullptr) {
    std::unique_lock lock(mutex_);
    left_.wait(lock, [&] { return !runs(whom); });
  }

  /// The same of all, but no longer than that; true when none runs.
  [[nodiscard]] bool waitUntilNone(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return left_.wait_for(lock, limit, [&] { return running_ == nullptr; });
  }

 private:
  void leave(Call& call) {
    // Told under the lock: whoever waits may free this object as soon as it is given up.
    const std::lock_guard lock(mutex_);
    Call** place = &running_;
    while (*place != &call) place = &(*place)->next_;
    *place = call.next_;
    left_.notify_all();
  }

  [[nodiscard]] bool runs(const void* whom) const {
    for (const Call* call = running_; call != nullptr; call = call->next_) {
      if (whom == nullptr || call->whom_ == whom) return true;
    }
    return false;
  }

  std::mutex mutex_;  // a leaf
  std::condition_variable left_;
  Call* running_ = nullptr;
  bool closed_ = false;
};

}  // namespace KBL
