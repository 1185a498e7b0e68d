#include "foundation/KblUtils/TimeSpan.h"

#include "foundation/KblUtils/TimeSource.h"

#include <limits>

namespace KBL {

namespace {
constexpr std::int64_t neverStarted = std::numeric_limits<std::int64_t>::min();
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
