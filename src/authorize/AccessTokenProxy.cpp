#include "authorize/AccessTokenProxy.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/KblUtils/TimeUtil.h"

#include <utility>

namespace KBL {

namespace {
constexpr int tickPeriodMs = 500;
}  // namespace

AccessTokenProxy::AccessTokenProxy(std::string uuid, std::string ownerTag)
    : uuid_(std::move(uuid)), ownerTag_(std::move(ownerTag)) {}

void AccessTokenProxy::setRefreshInterval(std::int64_t milliseconds) {
  refreshIntervalMs_ = milliseconds;
  // "diks_id" is spelled so in every log that support has collected.
  KBL_LOG(info,
          "diks_id, " << ownerTag_ << ", uuid: " << uuid_ << "refresh interval:" << milliseconds << " ms");
}

void AccessTokenProxy::start() {
  timer_.Expire();
  span_.start();
  timer_.StartTimer(tickPeriodMs, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->tick();
  });
}

void AccessTokenProxy::waitToStop(int milliseconds) {
  stopping_.exchange(true);
  timer_.Expire();
  KBL_LOG(info, "waiting to stop...");
  if (milliseconds > 0 && refreshing_) TimeUtil::sleepMs(milliseconds);
  refreshing_.exchange(false);
}

void AccessTokenProxy::tick() {
  if (span_.elapsedMs() < refreshIntervalMs_) return;
  if (stopping_ || refreshing_.exchange(true)) return;
  const int result = ExternlMediaAuthCallbackProxy::instance().cbAsyncRefreshAccessToken(ownerTag_, uuid_);
  // A refresh that was started stays marked until its answer comes.
  if (result != 0) refreshing_.exchange(false);
  span_.start();
}

}  // namespace KBL
