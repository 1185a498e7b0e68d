#include "foundation/KblUtils/TimeSource.h"

#include <algorithm>
#include <chrono>

namespace KBL {

namespace {

using namespace std::chrono;

class SystemTimeSource : public ITimeSource {
 public:
  std::uint64_t nowSinceEpochMs() override {
    const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    return static_cast<std::uint64_t>(now);
  }

  std::int64_t steadyMs() override {
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
  }

  void wait(std::condition_variable& wake, std::unique_lock<std::mutex>& lock,
            std::int64_t deadlineMs) override {
    // A far deadline would overflow the clock's nanoseconds; waking early is allowed.
    constexpr std::int64_t longestWaitMs = std::int64_t{60} * 60 * 1000;
    const std::int64_t soonest = std::min(deadlineMs, steadyMs() + longestWaitMs);
    wake.wait_until(lock, steady_clock::time_point(milliseconds(soonest)));
  }
};

/// Made once and never freed: detached threads may use it while the process ends.
struct CurrentSource {
  std::mutex mutex;
  std::shared_ptr<ITimeSource> source = std::make_shared<SystemTimeSource>();
};

CurrentSource& current() {
  static CurrentSource& instance = *new CurrentSource;
  return instance;
}

}  // namespace

void setTimeSource(std::shared_ptr<ITimeSource> source) {
  if (source == nullptr) source = std::make_shared<SystemTimeSource>();
  const std::lock_guard lock(current().mutex);
  current().source.swap(source);
}

std::shared_ptr<ITimeSource> timeSource() {
  const std::lock_guard lock(current().mutex);
  return current().source;
}

}  // namespace KBL
