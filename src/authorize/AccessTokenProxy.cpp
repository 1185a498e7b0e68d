#include "authorize/AccessTokenProxy.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include <KblLogger/KblLogger.h>
#include <KblUtils/TimeUtil.h>

#include <exception>
#include <new>
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
  KBL_LOG(severityInfo,
          "diks_id, " << ownerTag_ << ", uuid: " << uuid_ << "refresh interval:" << milliseconds << " ms");
}

void AccessTokenProxy::start() {
  timer_.Expire();
  span_.start();
  if (!startTimer())
    KBL_LOG(severityError, ownerTag_ << ", uuid: " << uuid_ << ", refresh timer not started");
}

bool AccessTokenProxy::startTimer() {
  try {
    return timer_.StartTimer(tickPeriodMs, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->tick();
    });
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void AccessTokenProxy::waitToStop(int milliseconds) {
  stopping_.exchange(true);
  timer_.Expire();
  KBL_LOG(severityInfo, "waiting to stop...");
  if (milliseconds > 0 && refreshing_) TimeUtil::sleepMs(milliseconds);
  refreshing_.exchange(false);
}

void AccessTokenProxy::tick() {
  if (span_.elapsedMs() < refreshIntervalMs_) return;
  if (stopping_ || refreshing_.exchange(true)) return;
  // A refresh that was started stays marked until its answer comes.
  if (!startRefresh()) refreshing_.exchange(false);
  span_.start();
}

bool AccessTokenProxy::startRefresh() const {
  try {
    return ExternlMediaAuthCallbackProxy::instance().cbAsyncRefreshAccessToken(ownerTag_, uuid_) == 0;
  } catch (const std::exception&) {  // memory is short
    return false;
  }
}

}  // namespace KBL
