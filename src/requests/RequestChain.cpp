#include "requests/RequestChain.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include "requests/DetachedSleeper.h"
#include <KblLogger/KblLogger.h>

#include <new>
#include <utility>

namespace KBL {

namespace {
constexpr int startsAfterFailure = 1;  // chain modes
constexpr int dropsInSilence = 2;

/// Empty when memory is short.
std::string copyOrNothing(const char* text) {
  try {
    return text;
  } catch (const std::bad_alloc&) {
    return {};
  }
}

void logChain(const char* name, const char* word) {
  KBL_LOG_AS(severityInfo, "KBL::BsExternlMediaAuthRequest::queryResponse",
             name << " :queryResponse " << word);
}
}  // namespace

RequestChain::RequestChain(BsExternlMediaAuthRequest& request) : request_(request) {}

_Result RequestChain::goOnWith(RefPtr<BsExternlMediaAuthRequest> next) {
  if (request_.addCallback(this, false) != resultOk) return resultFailed;
  next_ = std::move(next);
  return resultOk;
}

void RequestChain::goOn(IBsInfoReader* info, IBsErrorInfo* error) {
  using Started = RequestWorker::Started;
  // A short run may end the request before the line is written.
  const std::string name = copyOrNothing(request_.getRequestName());
  const bool succeeded = info != nullptr && error != nullptr && error->errorCode() == 0;
  const bool goesOn = succeeded || chainMode_ == startsAfterFailure;
  switch (goesOn ? request_.worker_.start(info, RequestWorker::AbortFlag::respect) : Started::refused) {
    case Started::refused:
      return drop(info, error, !succeeded);
    case Started::noWorker:
      // The one before it did well, so this is what the host hears of.
      request_.worker_.tellNotRun(info);
      return request_.delayRelease(lateReleaseMs);
    default:
      logChain(name.c_str(), "conitnue");  // spelled so in every log that support has collected
  }
}

_Result RequestChain::queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) {
  BsExternlMediaAuthRequest* const next = next_.leak();
  return next == nullptr ? resultOk : next->queryResponse(request, info, error);
}

/// Gives up a request that never ran, with the one reference that it has left, and those that wait on it.
/// Nothing may touch the request afterwards.
void RequestChain::drop(IBsInfoReader* info, IBsErrorInfo* error, bool othersDecide) {
  request_.removeCallback(&ExternlMediaAuthCallbackProxy::instance());
  if (chainMode_ != dropsInSilence) dropNext(info, error, othersDecide);
  logChain(request_.getRequestName(), "interrupt");
  request_.delayRelease(lateReleaseMs);
}

/// Of the registered callbacks only the next request is told: the host has heard of the failure from the
/// request that failed, and must not hear of it again from each one behind.
void RequestChain::dropNext(IBsInfoReader* info, IBsErrorInfo* error, bool othersDecide) {
  if (!request_.isRegistered(this)) return;
  if (othersDecide) {
    queryResponse(&request_, info, error);
  } else if (BsExternlMediaAuthRequest* const next = next_.leak()) {
    next->chain_.drop(info, error, false);
  }
}

}  // namespace KBL
