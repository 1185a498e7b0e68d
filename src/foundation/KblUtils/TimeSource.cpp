// The clocks, and the source that they all go by.
#include "foundation/neverFreed.h"
#include "foundation/system/System.h"
#include <KblUtils/TimeSource.h>
#include <KblUtils/TimeUtil.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>

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

/// Detached threads may use it while the process ends.
struct CurrentSource {
  std::mutex mutex;
  std::shared_ptr<ITimeSource> source = std::make_shared<SystemTimeSource>();
};

CurrentSource& current() {
  static CurrentSource& instance = neverFreed<CurrentSource>();
  return instance;
}

/// The start of a stopwatch that never ran.
constexpr std::int64_t neverStarted = std::numeric_limits<std::int64_t>::min();

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

std::uint64_t TimeUtil::nowSinceEpoch() {
  return timeSource()->nowSinceEpochMs();
}

std::string TimeUtil::now(const std::string& format) {
  std::tm broken{};
  if (!System::localTime(static_cast<std::time_t>(nowSinceEpoch() / 1000), broken)) return {};
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::put_time(&broken, format.c_str());
  return text.str();
}

void TimeUtil::sleepMs(int milliseconds) {
  const std::shared_ptr<ITimeSource> source = timeSource();
  const std::int64_t deadline = source->steadyMs() + milliseconds;
  std::mutex mutex;
  std::condition_variable nobodyNotifies;
  while (source->steadyMs() < deadline) {
    std::unique_lock lock(mutex);
    source->wait(nobodyNotifies, lock, deadline);
  }
}

TimeSpan::TimeSpan() : startMs_(neverStarted) {}

void TimeSpan::start() {
  spanMs_ = 0;
  startMs_ = timeSource()->steadyMs();
}

TimeSpan& TimeSpan::end() {
  spanMs_ = elapsedMs();
  return *this;
}

std::int64_t TimeSpan::timeSpan() const {
  return spanMs_;
}

std::int64_t TimeSpan::elapsedMs() const {
  const std::int64_t start = startMs_;
  return start == neverStarted ? 0 : timeSource()->steadyMs() - start;
}

}  // namespace KBL
