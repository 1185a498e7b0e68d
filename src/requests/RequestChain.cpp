// How a request that waits on another one goes on, or is dropped.
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "foundation/KblLogger/KblLogger.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include "requests/DetachedSleeper.h"
#include "requests/RequestRegistry.h"

namespace KBL {

namespace {
constexpr int startsAfterFailure = 1;  // values of chainMode
constexpr int dropsInSilence = 2;

void logChain(const std::string& name, const char* word) {
  KBL_LOG_AS(info, "KBL::BsExternlMediaAuthRequest::queryResponse", name << " :queryResponse " << word);
}
}  // namespace

_Result BsExternlMediaAuthRequest::queryResponse(IBsBaseRequest*, IBsInfoReader* info, IBsErrorInfo* error) {
  const std::string requestName = name;  // a short run may end the request before the line is written
  const bool succeeded = info != nullptr && error != nullptr && error->errorCode() == 0;
  const bool goesOn = succeeded || chainMode_ == startsAfterFailure;
  if (!goesOn || start(info, AbortFlag::respect) == Started::no) {
    drop(info, error, !succeeded);
    return resultOk;
  }
  logChain(requestName, "conitnue");  // spelled so in every log that support has collected
  return resultOk;
}

/// Gives up a request that never ran, with the one reference that it has left, and those that wait on it.
/// `othersDecide` leaves it to each of them, by its chain mode, whether it starts all the same. Nothing may
/// touch the request afterwards.
void BsExternlMediaAuthRequest::drop(IBsInfoReader* info, IBsErrorInfo* error, bool othersDecide) {
  const std::string requestName = name;
  removeCallback(&ExternlMediaAuthCallbackProxy::instance());
  if (chainMode_ != dropsInSilence) dropWaitingRequests(info, error, othersDecide);
  delayRelease(lateReleaseMs);
  logChain(requestName, "interrupt");
}

/// Of the registered callbacks only the requests are told: the host has heard of the failure from the request
/// that failed, and must not hear of it again from each one behind.
void BsExternlMediaAuthRequest::dropWaitingRequests(IBsInfoReader* info, IBsErrorInfo* error,
                                                    bool othersDecide) {
  for (IBsRequstCallback* const callback : callbacks()) {
    BsExternlMediaAuthRequest* const waiting = findLiveRequest(callback);
    if (waiting == nullptr) continue;
    if (othersDecide) {
      waiting->queryResponse(this, info, error);
    } else {
      waiting->drop(info, error, othersDecide);
    }
  }
}

}  // namespace KBL
