#include "media_tasks/StallRule.h"

#include <KblUtils/TimeSource.h>
#include <KblUtils/TimeUtil.h>

namespace KBL {

namespace {

constexpr std::int64_t stallSeconds = 30;

std::int64_t nowSeconds() {
  return static_cast<std::int64_t>(TimeUtil::nowSinceEpoch() / 1000);
}

}  // namespace

bool StallRule::isBrokenAt(double receivedBytes) {
  const std::int64_t time = nowSeconds();
  isBroken_ = (lastChangeTime_ > 0 && time - lastChangeTime_ > stallSeconds) || isTooSlow();
  if (!isBroken_ && (receivedBytes < lastByteCount_ || receivedBytes > lastByteCount_)) {
    lastByteCount_ = receivedBytes;
    lastChangeTime_ = time;
  }
  return isBroken_;
}

bool StallRule::isTooSlow() {
  const std::int64_t time = timeSource()->steadyMs();
  if (firstBeatMs_ < 0) firstBeatMs_ = time;
  return longestMs_ > 0 && time - firstBeatMs_ > longestMs_;
}

}  // namespace KBL
