#include "support/ManualTimeSource.h"

#include "support/WaitUntil.h"

#include <algorithm>

using namespace std::chrono_literals;

ManualTimeSource::ManualTimeSource(std::uint64_t epochMs) : epochMs_(epochMs) {}

std::uint64_t ManualTimeSource::nowSinceEpochMs() {
  const std::lock_guard lock(mutex_);
  return epochMs_;
}

std::int64_t ManualTimeSource::steadyMs() {
  const std::lock_guard lock(mutex_);
  return steadyMs_;
}

void ManualTimeSource::wait(std::condition_variable& wake, std::unique_lock<std::mutex>& lock,
                            std::int64_t deadlineMs) {
  {
    const std::lock_guard own(mutex_);
    if (steadyMs_ >= deadlineMs) return;
    waiting_.push_back({&wake, deadlineMs});
  }
  // `advance` cannot take the waiter's lock, so that its notice may come before this wait begins; the short
  // limit catches that case.
  wake.wait_for(lock, 5ms);
  const std::lock_guard own(mutex_);
  waiting_.erase(std::find_if(waiting_.begin(), waiting_.end(), [&](const Waiter& waiter) {
    return waiter.wake == &wake && waiter.deadlineMs == deadlineMs;
  }));
}

void ManualTimeSource::advance(std::int64_t milliseconds) {
  const std::lock_guard lock(mutex_);
  steadyMs_ += milliseconds;
  epochMs_ += static_cast<std::uint64_t>(milliseconds);
  for (const Waiter& waiter : waiting_) waiter.wake->notify_all();
}

void ManualTimeSource::setNowSinceEpochMs(std::uint64_t epochMs) {
  const std::lock_guard lock(mutex_);
  epochMs_ = epochMs;
}

std::size_t ManualTimeSource::waiters() const {
  const std::lock_guard lock(mutex_);
  // One whose time has come is on its way out.
  return static_cast<std::size_t>(std::count_if(
      waiting_.begin(), waiting_.end(), [&](const Waiter& waiter) { return waiter.deadlineMs > steadyMs_; }));
}

bool ManualTimeSource::waitForWaiters(std::size_t count) const {
  return waitUntil([&] { return waiters() >= count; });
}

bool ManualTimeSource::advanceUntil(const std::function<bool()>& condition, std::int64_t stepMs) {
  const auto end = std::chrono::steady_clock::now() + generousLimit;
  while (std::chrono::steady_clock::now() < end) {
    if (waitUntil(condition, 20ms)) return true;
    advance(stepMs);
  }
  return condition();
}

ScopedManualTime::ScopedManualTime(std::uint64_t epochMs)
    : source_(std::make_shared<ManualTimeSource>(epochMs)) {
  KBL::setTimeSource(source_);
}

ScopedManualTime::~ScopedManualTime() {
  KBL::setTimeSource(nullptr);
}
