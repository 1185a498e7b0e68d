#pragma once

#include "foundation/KblUtils/TimeSource.h"

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

/// A clock that stands still until a test moves it. Whoever waits on it wakes when it moves. Any thread.
class ManualTimeSource : public KBL::ITimeSource {
 public:
  /// Starts at this wall-clock time, in milliseconds since the epoch.
  explicit ManualTimeSource(std::uint64_t epochMs = 1'700'000'000'000);

  std::uint64_t nowSinceEpochMs() override;
  std::int64_t steadyMs() override;
  void wait(std::condition_variable& wake, std::unique_lock<std::mutex>& lock,
            std::int64_t deadlineMs) override;

  /// Moves both clocks on.
  void advance(std::int64_t milliseconds);
  /// Moves the wall clock alone.
  void setNowSinceEpochMs(std::uint64_t epochMs);

  /// How many threads wait for a later time.
  [[nodiscard]] std::size_t waiters() const;
  /// Waits until at least `count` threads do; false when they did not within the generous limit.
  [[nodiscard]] bool waitForWaiters(std::size_t count) const;
  /// Moves on in steps until the condition holds, giving the woken threads some real time after each step;
  /// false when it did not within the generous limit.
  [[nodiscard]] bool advanceUntil(const std::function<bool()>& condition, std::int64_t stepMs);

 private:
  struct Waiter {
    std::condition_variable* wake;
    std::int64_t deadlineMs;
  };

  mutable std::mutex mutex_;
  std::uint64_t epochMs_;
  std::int64_t steadyMs_ = 0;
  std::vector<Waiter> waiting_;
};

/// Installs a manual time source as the process's own for its own life.
class ScopedManualTime {
 public:
  explicit ScopedManualTime(std::uint64_t epochMs = 1'700'000'000'000);
  ~ScopedManualTime();
  ScopedManualTime(const ScopedManualTime&) = delete;
  ScopedManualTime& operator=(const ScopedManualTime&) = delete;

  ManualTimeSource* operator->() const { return source_.get(); }
  ManualTimeSource& operator*() const { return *source_; }

 private:
  std::shared_ptr<ManualTimeSource> source_;
};
