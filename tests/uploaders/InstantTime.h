#pragma once

#include "foundation/KblUtils/TimeSource.h"

#include <memory>
#include <vector>

/// A time source whose waits are over at once, and which remembers how long they would have been; the order
/// tells something where one thread sleeps alone. Not for tests with timers: those would never rest.
class InstantTime {
 public:
  InstantTime() { KBL::setTimeSource(source_); }
  ~InstantTime() { KBL::setTimeSource(nullptr); }
  InstantTime(const InstantTime&) = delete;
  InstantTime& operator=(const InstantTime&) = delete;

  /// Lengths of the sleeps so far, in milliseconds.
  [[nodiscard]] std::vector<std::int64_t> sleeps() const {
    const std::lock_guard lock(source_->mutex);
    return source_->sleeps;
  }

 private:
  struct Source final : KBL::ITimeSource {
    std::uint64_t nowSinceEpochMs() override {
      const std::lock_guard lock(mutex);
      return 1'700'000'000'000U + static_cast<std::uint64_t>(now);
    }
    std::int64_t steadyMs() override {
      const std::lock_guard lock(mutex);
      return now;
    }
    void wait(std::condition_variable&, std::unique_lock<std::mutex>&, std::int64_t deadlineMs) override {
      const std::lock_guard lock(mutex);
      sleeps.push_back(deadlineMs - now);
      now = deadlineMs;
    }

    mutable std::mutex mutex;
    std::int64_t now = 0;
    std::vector<std::int64_t> sleeps;
  };

  std::shared_ptr<Source> source_ = std::make_shared<Source>();
};
