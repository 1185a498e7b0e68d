#include "foundation/system/System.h"
#include <KblUtils/TimeSource.h>
#include <KblUtils/Timer.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <utility>

namespace KBL {

/// One repetition, shared by the timer and its thread, so that either may go first.
class Timer::Run {
 public:
  Run(std::int64_t periodMs, std::function<void()> function)
      : source_(timeSource()),
        periodMs_(std::max<std::int64_t>(periodMs, 1)),
        dueMs_(source_->steadyMs() + periodMs_),
        function_(std::move(function)) {}

  void repeat() {
    while (waitUntilDue()) {
      tick();
      skipMissedTicks();
    }
  }

  /// True when this call ended the repetition.
  bool expire() {
    const std::lock_guard lock(mutex_);
    const bool wasRunning = !std::exchange(expired_, true);
    wake_.notify_all();
    return wasRunning;
  }

 private:
  /// False when the repetition has ended. The decision for a tick falls under the lock: none begins once
  /// `expire` has returned. The clock is the host's and is read without the lock; its `wait` gives the lock
  /// up.
  bool waitUntilDue() {
    while (source_->steadyMs() < dueMs_) {
      std::unique_lock lock(mutex_);
      if (expired_) return false;
      source_->wait(wake_, lock, dueMs_);
    }
    const std::lock_guard lock(mutex_);
    return !expired_;
  }

  void tick() {
    try {
      if (function_) function_();
    } catch (...) {
      // It has nobody to go to; the next tick tries again.
    }
  }

  void skipMissedTicks() {
    const std::int64_t lateMs = source_->steadyMs() - dueMs_;
    dueMs_ += (std::max<std::int64_t>(lateMs, 0) / periodMs_ + 1) * periodMs_;
  }

  const std::shared_ptr<ITimeSource> source_;
  const std::int64_t periodMs_;
  std::int64_t dueMs_;  // the own thread's
  const std::function<void()> function_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool expired_ = false;
};

Timer::Timer() = default;

Timer::~Timer() {
  Expire();
}

bool Timer::StartTimer(int milliseconds, std::function<void()> function) {
  std::shared_ptr<Run> run;
  try {
    run = std::make_shared<Run>(milliseconds, std::move(function));  // asks the clock: no lock yet
  } catch (const std::exception&) {
    run = nullptr;
  }
  const std::lock_guard lock(mutex_);
  if (run_ != nullptr) run_->expire();
  run_.reset();
  if (run == nullptr) return false;
  try {
    if (!System::startDetached([run] { run->repeat(); })) return false;
  } catch (const std::exception&) {
    return false;
  }
  run_ = run;
  return true;
}

int Timer::Expire() {
  const std::lock_guard lock(mutex_);
  if (run_ == nullptr) return 0;
  const bool wasRunning = run_->expire();
  run_.reset();
  return wasRunning ? 1 : 0;
}

}  // namespace KBL
