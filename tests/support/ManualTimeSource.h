#pragma once

#include <KblUtils/TimeSource.h>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

/// A clock that stands still until a test moves it. Whoever waits on it wakes when it moves. Any thread.
class ManualTimeSource : public KBL::ITimeSource {
 public:
  /// Starts at this wall-clock time, in milliseconds since the epoch.
  explicit ManualTimeSource(std::uint64_t epochMs = 1'700'000'000'000);

  /// From now on does this whenever it is asked for the time, on the thread that asks.
  void whenAsked(std::function<void()> action);
  /// From now on every wait is over at once, and moves the clock on as if it had been. Not for tests with
  /// timers: those would never rest.
  void letWaitsPass();
  /// How long the waits that passed would have been, in milliseconds; the order tells something where one
  /// thread waits alone.
  [[nodiscard]] std::vector<std::int64_t> passedWaits() const;

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

  void asked() const;
  void moveOn(std::int64_t milliseconds);

  mutable std::mutex mutex_;
  std::uint64_t epochMs_;
  std::int64_t steadyMs_ = 0;
  bool waitsPass_ = false;
  std::function<void()> whenAsked_;
  std::vector<Waiter> waiting_;
  std::vector<std::int64_t> passedWaits_;
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

/// The same, with waits that are over at once.
class InstantTime : public ScopedManualTime {
 public:
  InstantTime() { (*this)->letWaitsPass(); }
};
