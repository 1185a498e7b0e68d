#include "requests/RequestWorker.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include "requests/DetachedSleeper.h"
#include <BsNet/BsErrorInfo.h>
#include <KblLogger/KblLogger.h>
#include <KblUtils/HostCode.h>

#include <algorithm>
#include <limits>

namespace KBL {

namespace {
constexpr const char* startFunction = "KBL::BsExternlMediaAuthRequest::asyncRequestWithInfo";
constexpr const char* workerFunction = "KBL::BsExternlMediaAuthRequest::_asyncRequestWithInfo";

/// Without overflow; a limit of no time stays none.
int longerTimeout(int timeout, int step) {
  const long long sum = static_cast<long long>(timeout) + step;
  return static_cast<int>(std::min<long long>(sum, std::numeric_limits<int>::max()));
}
}  // namespace

RequestWorker::RequestWorker(BsExternlMediaAuthRequest& request) : request_(request) {}

bool RequestWorker::takeWorker(AbortFlag abortFlagRule, Started& refusal) {
  const std::lock_guard lock(request_.asyncMutex);
  if (request_.asyncRunning) {
    refusal = Started::alreadyRunning;
    return false;
  }
  const std::lock_guard abortLock(request_.abortMutex);
  if (abortedForGood_ || (abortFlagRule == AbortFlag::respect && request_.abortFlag != 0)) {
    refusal = Started::refused;
    return false;
  }
  request_.abortFlag = 0;
  request_.asyncRunning = true;
  return true;
}

RequestWorker::Started RequestWorker::start(IBsInfoReader* info, AbortFlag abortFlagRule) {
  if (info == nullptr) return Started::refused;
  if (Started refusal = Started::refused; !takeWorker(abortFlagRule, refusal)) {
    if (refusal == Started::alreadyRunning) {
      KBL_LOG_AS(severityInfo, startFunction,
                 request_.getRequestName() << ":asyncRequest not finished, return");
    }
    return refusal;
  }
  const int infoCount = info->AddRef();
  const int requestCount = request_.AddRef();
  KBL_LOG_AS(severityInfo, startFunction,
             request_.getRequestName() << ", this refCnt:" << requestCount << "info refCnt: " << infoCount);
  {
    // The worker takes this lock before it ends, so the handle is stored while the request surely lives.
    const std::lock_guard lock(request_.asyncMutex);
    request_.asyncThread =
        BsExternlMediaAuthRequest::startThread([this, info] { request_._asyncRequestWithInfo(info); });
    if (request_.asyncThread != nullptr) return Started::yes;
    request_.asyncRunning = false;
  }
  info->Release();
  request_.Release();
  return Started::noWorker;
}

void RequestWorker::run(IBsInfoReader* info) {
  runAndTell(info);
  end(info);
}

void RequestWorker::runAndTell(IBsInfoReader* info) {
  const ScopedRequestFlow scope(request_.flow().get());
  KBL_LOG_AS(severityInfo, workerFunction, "base _asyncRequestWithInfo:" << request_.getRequestName());
  RefPtr<IBsErrorInfo> error;
  try {
    error = runTries(info);
  } catch (...) {
    passThreadEnd();
  }
  if (error) {
    tellOutcome(info, *error);
  } else {
    tellNotRun(info);
  }
}

RefPtr<IBsErrorInfo> RequestWorker::runTries(IBsInfoReader* info) {
  const int timeout = request_.timeoutMs;
  const int attempts = std::max(request_.retryTimes, 0) + 1;
  const auto tryLine = [&](const ErrorState& error, int tries, bool isAborted) {
    std::ostringstream text;
    text << request_.getRequestName()
         << ", base _asyncRequestWithInfo cb, size:" << request_.exchange_.responseSize()
         << ", code:" << error.code << ", msg:" << error.message << ", try:" << tries << "/" << attempts
         << ", abort:" << isAborted;
    return text.str();
  };

  RefPtr<IBsErrorInfo> error;
  ErrorState state;
  int result = 1;
  int tries = 0;
  for (;;) {
    error = request_.exchange_.run(request_, info);
    state = errorStateOf(*error);
    ++tries;
    KBL_LOG_AS(severityInfo, workerFunction, tryLine(state, tries, aborted()));
    if (state.code == ErrorCode::none) {
      result = 0;
      break;
    }
    if (request_.needToRetry(state.code, nullptr) == 0) break;
    request_.timeoutMs = longerTimeout(request_.timeoutMs, timeout);
    if (aborted() || tries >= attempts) break;
  }
  request_.timeoutMs = timeout;
  KBL_LOG_AS(severityInfo, workerFunction, tryLine(state, tries, aborted()) << ", result:" << result);
  return error;
}

// Short memory may cost the host an answer, but never leaves those behind that wait.
void RequestWorker::tellOutcome(IBsInfoReader* info, IBsErrorInfo& error) {
  ExternlMediaAuthCallbackProxy& switchboard = ExternlMediaAuthCallbackProxy::instance();
  bool told = false;
  try {
    if (switchboard.knowsOwner(request_.ownerTag())) {
      request_._callback(info, &error, false);
      told = true;
    }
  } catch (...) {
    passThreadEnd();
  }
  if (!told) request_.chain_.dropNext(info, &error, false);
  try {
    if (notifyMode_ == 1 && switchboard.knowsOwner(request_.ownerTag())) {
      switchboard.cbRequestNotify(request_.ownerTag(), request_.userUuid());
    }
  } catch (...) {
    passThreadEnd();
  }
}

void RequestWorker::tellNotRun(IBsInfoReader* info) {
  const RefPtr<IBsErrorInfo> error = request_.errorInfo();
  error->setError(ErrorCode::noNetworkClient, "create network request failed");
  if (error->errorCode() == ErrorCode::none) return request_.chain_.dropNext(info, error.get(), false);
  tellOutcome(info, *error);
}

/// Gives two references of the request back: the one of the start, and the creator's, which came with it.
/// Nothing may touch the request afterwards.
void RequestWorker::end(IBsInfoReader* info) {
  {
    const std::lock_guard lock(request_.asyncMutex);
    request_.asyncRunning = false;
  }
  request_.delayRelease(lateReleaseMs);
  info->Release();
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): of two references the first is never the last
  request_.letOwnThreadGo();
  request_.delayRelease(lateReleaseMs);
}

void RequestWorker::abortForGood() {
  const std::lock_guard lock(request_.abortMutex);
  request_.abortFlag = 1;
  abortedForGood_ = true;
}

bool RequestWorker::aborted() {
  const std::lock_guard lock(request_.abortMutex);
  return request_.abortFlag != 0;
}

}  // namespace KBL
