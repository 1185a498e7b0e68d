// The worker thread of a request, its retries, and the late release of references.
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "foundation/KblLogger/KblLogger.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include "requests/DetachedSleeper.h"

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

int BsExternlMediaAuthRequest::asyncRequestWithInfo(IBsInfoReader* info) {
  return start(info, AbortFlag::clear) == Started::yes ? 0 : 1;
}

bool BsExternlMediaAuthRequest::takeWorker(AbortFlag abortFlagRule, Started& refusal) {
  const std::lock_guard lock(asyncMutex);
  if (asyncRunning) {
    refusal = Started::alreadyRunning;
    return false;
  }
  const std::lock_guard abortLock(abortMutex);
  if (abortedForGood_ || (abortFlagRule == AbortFlag::respect && abortFlag != 0)) {
    refusal = Started::no;
    return false;
  }
  abortFlag = 0;
  asyncRunning = true;
  return true;
}

BsExternlMediaAuthRequest::Started BsExternlMediaAuthRequest::start(IBsInfoReader* info,
                                                                    AbortFlag abortFlagRule) {
  if (info == nullptr) return Started::no;
  if (Started refusal = Started::no; !takeWorker(abortFlagRule, refusal)) {
    if (refusal == Started::alreadyRunning) {
      KBL_LOG_AS(info, startFunction, name << ":asyncRequest not finished, return");
    }
    return refusal;
  }
  const int infoCount = info->AddRef();
  const int requestCount = AddRef();
  KBL_LOG_AS(info, startFunction, name << ", this refCnt:" << requestCount << "info refCnt: " << infoCount);
  {
    // The worker takes this lock before it ends, so the handle is stored while the request surely lives.
    const std::lock_guard lock(asyncMutex);
    asyncThread = startThread([this, info] { _asyncRequestWithInfo(info); });
    if (asyncThread != nullptr) return Started::yes;
    asyncRunning = false;
  }
  info->Release();
  Release();
  return Started::no;
}

void BsExternlMediaAuthRequest::_asyncRequestWithInfo(IBsInfoReader* info) {
  try {
    KBL_LOG(info, "base _asyncRequestWithInfo:" << name);
    const RefPtr<IBsErrorInfo> error = runTries(info);
    tellOutcome(info, *error);
  } catch (...) {
    // Memory is short; the references are given back all the same.
  }
  endWorker(info);
}

RefPtr<IBsErrorInfo> BsExternlMediaAuthRequest::runTries(IBsInfoReader* info) {
  const int timeout = timeoutMs;
  const int attempts = std::max(retryTimes, 0) + 1;
  const auto tryLine = [&](IBsErrorInfo& error, int tries, bool isAborted) {
    std::ostringstream text;
    text << name << ", base _asyncRequestWithInfo cb, size:" << responseSize_
         << ", code:" << error.errorCode() << ", msg:" << error.errorMessage() << ", try:" << tries << "/"
         << attempts << ", abort:" << isAborted;
    return text.str();
  };

  RefPtr<IBsErrorInfo> error;
  int result = 1;
  int tries = 0;
  for (;;) {
    error = runAttempt(info);
    ++tries;
    KBL_LOG_AS(info, workerFunction, tryLine(*error, tries, aborted()));
    if (error->errorCode() == 0) {
      result = 0;
      break;
    }
    if (needToRetry(error->errorCode(), nullptr) == 0) break;
    timeoutMs = longerTimeout(timeoutMs, timeout);
    if (aborted() || tries >= attempts) break;
  }
  timeoutMs = timeout;
  KBL_LOG_AS(info, workerFunction, tryLine(*error, tries, aborted()) << ", result:" << result);
  return error;
}

void BsExternlMediaAuthRequest::tellOutcome(IBsInfoReader* info, IBsErrorInfo& error) {
  ExternlMediaAuthCallbackProxy& switchboard = ExternlMediaAuthCallbackProxy::instance();
  if (switchboard.knowsOwner(ownerTag_)) {
    _callback(info, &error, false);
  } else {
    dropWaitingRequests(info, &error, false);
  }
  if (notifyMode_ == 1 && switchboard.knowsOwner(ownerTag_)) {
    switchboard.cbRequestNotify(ownerTag_, userUuid_);
  }
}

/// Gives two references of the request back: the one of the start, and the creator's, which came with it.
/// Nothing may touch the request afterwards.
void BsExternlMediaAuthRequest::endWorker(IBsInfoReader* info) {
  {
    const std::lock_guard lock(asyncMutex);
    asyncRunning = false;
  }
  delayRelease(lateReleaseMs);
  info->Release();
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): of two references the first is never the last
  letOwnThreadGo();
  delayRelease(lateReleaseMs);
}

void BsExternlMediaAuthRequest::delayRelease(int milliseconds) {
  // Without a thread for the sleep the reference goes at once, which is sound because every caller's call is
  // the last thing that it does with that reference.
  if (!runDetachedAfter(milliseconds, [this] { Release(); })) Release();
}

void BsExternlMediaAuthRequest::abortForGood() {
  const std::lock_guard lock(abortMutex);
  abortFlag = 1;
  abortedForGood_ = true;
}

bool BsExternlMediaAuthRequest::aborted() {
  const std::lock_guard lock(abortMutex);
  return abortFlag != 0;
}

}  // namespace KBL
