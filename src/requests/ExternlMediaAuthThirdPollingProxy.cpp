#include "requests/ExternlMediaAuthThirdPollingProxy.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"
#include "requests/DetachedSleeper.h"
#include <BsNet/BsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblLogger/KblLogger.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace KBL {

namespace {
constexpr int pollingPeriodMs = 3000;
constexpr int stopDelayMs = 100;
constexpr long long limitWithoutKeySeconds = 120;
constexpr long long limitOfNonsenseSeconds = 60;
constexpr long long greatestLimitSeconds = std::numeric_limits<std::int32_t>::max() / 1000;

/// A missing limit and a nonsense one differ on purpose.
long long timeLimitSeconds(IBsInfoReader* info) {
  const char* const text =
      info == nullptr ? nullptr : info->charKeyConfig(ExternlMediaLoginCharKey::timeout_seconds);
  if (text == nullptr) return limitWithoutKeySeconds;
  const long long seconds = std::strtoll(text, nullptr, 10);
  return seconds <= 0 ? limitOfNonsenseSeconds : std::min(seconds, greatestLimitSeconds);
}
}  // namespace

ExternlMediaAuthThirdPollingProxy::ExternlMediaAuthThirdPollingProxy(
    std::string name, std::int32_t timeoutMs, BsExternlMediaAuthUserSupportSessionRequest* request)
    : timeoutMs_(timeoutMs), name_(std::move(name)), request_(request) {}

void ExternlMediaAuthThirdPollingProxy::setTimerFunction(std::function<void()> timerFunction) {
  const std::lock_guard lock(mutex_);
  timerFunction_ = std::move(timerFunction);
}

void ExternlMediaAuthThirdPollingProxy::startThirdProcess(IBsInfoReader* info) {
  const long long seconds = timeLimitSeconds(info);
  KBL_LOG(severityInfo, "set_Timeout_timer:" << seconds);
  timeoutMs_ = static_cast<std::int32_t>(seconds * 1000);

  ExternlMediaAuthCallbackProxy& switchboard = ExternlMediaAuthCallbackProxy::instance();
  switchboard.setTimedOut(request_->ownerTag(), request_->userUuid(), false);
  switchboard.setFinished(request_->ownerTag(), request_->userUuid(), false);

  if (startTimer(info)) return;
  setPollingTimeout(info);  // without a thread the login has no time at all
  finishThirdProcess(info, name_ + ", timeout1");
}

bool ExternlMediaAuthThirdPollingProxy::startTimer(IBsInfoReader* info) {
  // Those of a former polling go when the function returns, outside the lock.
  RefPtr<IBsInfoReader> newInfo = shareRef(info);
  RefPtr<BsExternlMediaAuthUserSupportSessionRequest> newRequest = shareRef(request_);
  std::shared_ptr<Timer> formerTimer;
  const auto timer = std::make_shared<Timer>();
  // Made first: once the polling holds its request nothing may throw, or nobody would let go of it.
  std::function<void()> onTick = [weakSelf = weak_from_this()] {
    if (const auto self = weakSelf.lock()) self->tick();
  };

  // Stopwatch and timer ask the clock, which is the host's: outside the lock.
  span_.start();
  {
    const std::lock_guard lock(mutex_);
    info_.swap(newInfo);
    heldRequest_.swap(newRequest);
    formerTimer = std::exchange(timer_, timer);
    polling_ = true;
  }
  if (formerTimer != nullptr) formerTimer->Expire();
  const bool started = timer->StartTimer(pollingPeriodMs, std::move(onTick));
  const std::lock_guard lock(mutex_);
  if (!polling_ || timer_ != timer) timer->Expire();  // it was stopped before it ran
  return started;
}

void ExternlMediaAuthThirdPollingProxy::tick() {
  RefPtr<IBsInfoReader> info;
  RefPtr<BsExternlMediaAuthUserSupportSessionRequest> request;
  std::function<void()> timerFunction;
  {
    const std::lock_guard lock(mutex_);
    if (!polling_) return;
    info = info_;
    request = heldRequest_;
    timerFunction = timerFunction_;
  }
  if (timerFunction) timerFunction();
}

void ExternlMediaAuthThirdPollingProxy::setPollingTimeout(IBsInfoReader* info) {
  const auto error = makeRef<BsErrorInfo>();
  error->setError(ErrorCode::loginTimeout, (name_ + " timeout cb").c_str());
  request_->setErrorInfo(error);
  ExternlMediaAuthCallbackProxy& switchboard = ExternlMediaAuthCallbackProxy::instance();
  switchboard.setTimedOut(request_->ownerTag(), request_->userUuid(), true);
  switchboard.cbRequestForward(request_->ownerTag(), request_, info, error.get());
  KBL_LOG(severityInfo, "timeout_finished");
}

void ExternlMediaAuthThirdPollingProxy::finishThirdProcess(IBsInfoReader*, const std::string& message) {
  KBL_LOG(severityInfo, name_ << ", " << message << ",use ms: " << span_.elapsedMs());
  RefPtr<IBsInfoReader> held;
  {
    const std::lock_guard lock(mutex_);
    if (!polling_) return;
    polling_ = false;
    held.swap(info_);
  }
  // Without a thread for the sleep the timer is stopped from here, which it bears.
  if (!stopLater()) stopPollingTimer();
}

bool ExternlMediaAuthThirdPollingProxy::stopLater() {
  try {
    return runDetachedAfter(stopDelayMs, [self = shared_from_this()] { self->stopPollingTimer(); });
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void ExternlMediaAuthThirdPollingProxy::stopPollingTimer() {
  RefPtr<IBsInfoReader> info;
  RefPtr<BsExternlMediaAuthUserSupportSessionRequest> request;
  {
    const std::lock_guard lock(mutex_);
    polling_ = false;
    if (timer_ != nullptr) timer_->Expire();
    info.swap(info_);
    request.swap(heldRequest_);
  }
  // Given back late, since this may run inside a tick of the request.
  if (request) request.leak()->delayRelease(lateReleaseMs);
}

}  // namespace KBL
