#include "support/ManualTimeSource.h"

#include "support/WaitUntil.h"

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

ManualTimeSource::ManualTimeSource(std::uint64_t epochMs) : epochMs_(epochMs) {}

void ManualTimeSource::whenAsked(std::function<void()> action) {
  const std::lock_guard lock(mutex_);
  whenAsked_ = std::move(action);
}

void ManualTimeSource::letWaitsPass() {
  const std::lock_guard lock(mutex_);
  waitsPass_ = true;
}

std::vector<std::int64_t> ManualTimeSource::passedWaits() const {
  const std::lock_guard lock(mutex_);
  return passedWaits_;
}

void ManualTimeSource::asked() const {
  std::unique_lock lock(mutex_);
  const auto action = whenAsked_;
  lock.unlock();
  if (action) action();
}

void ManualTimeSource::moveOn(std::int64_t milliseconds) {
  steadyMs_ += milliseconds;
  epochMs_ += static_cast<std::uint64_t>(milliseconds);
  for (const Waiter& waiter : waiting_) waiter.wake->notify_all();
}

std::uint64_t ManualTimeSource::nowSinceEpochMs() {
  asked();
  const std::lock_guard lock(mutex_);
  return epochMs_;
}

std::int64_t ManualTimeSource::steadyMs() {
  asked();
  const std::lock_guard lock(mutex_);
  return steadyMs_;
}

void ManualTimeSource::wait(std::condition_variable& wake, std::unique_lock<std::mutex>& lock,
                            std::int64_t deadlineMs) {
  {
    const std::lock_guard own(mutex_);
    if (steadyMs_ >= deadlineMs) return;
    if (waitsPass_) {
      passedWaits_.push_back(deadlineMs - steadyMs_);
      return moveOn(deadlineMs - steadyMs_);
    }
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
  moveOn(milliseconds);
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
