#include "support/ManualTimeSource.h"

#include "support/WaitUntil.h"

#include <algorithm>
#include <thread>

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
  std::list<Waiter>::iterator self;
  {
    const std::lock_guard own(mutex_);
    if (steadyMs_ >= deadlineMs) return;
    self = waiting_.insert(waiting_.end(), {&wake, lock.mutex(), deadlineMs, false});
  }
  wake.wait(lock);
  const std::lock_guard own(mutex_);
  waiting_.erase(self);
}

void ManualTimeSource::advance(std::int64_t milliseconds) {
  {
    const std::lock_guard lock(mutex_);
    steadyMs_ += milliseconds;
    epochMs_ += static_cast<std::uint64_t>(milliseconds);
  }
  while (!notifyDue()) std::this_thread::yield();
}

/// A notice counts only when the waiter really waits, which it does once its mutex is free. Its mutex is
/// taken before ours by the waiter itself, so here it is only tried; false when one has to be tried again.
bool ManualTimeSource::notifyDue() {
  const std::lock_guard lock(mutex_);
  bool all = true;
  for (Waiter& waiter : waiting_) {
    if (waiter.notified || waiter.deadlineMs > steadyMs_) continue;
    const std::unique_lock waits(*waiter.mutex, std::try_to_lock);
    waiter.notified = waits.owns_lock();
    if (waiter.notified) waiter.wake->notify_all();
    all = all && waiter.notified;
  }
  return all;
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
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + generousLimit;
  while (Clock::now() < end) {
    const std::size_t before = waiters();
    if (condition()) return true;
    advance(stepMs);
    // Whoever wakes may start work that the condition hears of later, and may wait again or be gone for good.
    const auto atLeast = Clock::now() + 20ms;
    const auto settled = [&] { return condition() || (Clock::now() > atLeast && waiters() >= before); };
    if (waitUntil(settled, 200ms) && condition()) return true;
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
