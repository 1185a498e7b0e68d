#include "uploaders/proxies/UploadCallbackProxy.h"

namespace KBL {

namespace {
constexpr const char* queryResponseKey = "queryResponse";
}  // namespace

void UploadCallbackProxy::enter(const std::shared_ptr<UploadEventReporter>& lifeToken) {
  const std::lock_guard lock(mutex_);
  callbacks_[queryResponseKey] = {queryResponseKey, lifeToken};
}

_Result UploadCallbackProxy::queryResponse(IBsBaseRequest* request, IBsInfoReader* info,
                                           IBsErrorInfo* error) {
  if (closed_) return resultFailed;
  std::shared_ptr<UploadEventReporter> reporter;
  {
    const std::lock_guard lock(mutex_);
    const auto entry = callbacks_.find(queryResponseKey);
    if (entry != callbacks_.end()) reporter = entry->second.token.lock();
  }
  return reporter == nullptr ? resultFailed : reporter->queryResponse(request, info, error);
}

}  // namespace KBL
