#pragma once

#include "uploaders/proxies/UploadPlatform.h"

#include <memory>
#include <string>

namespace KBL {

/// Turns what the requests of an upload report into upload events. It is the part of a proxy that workers
/// meet: its shared pointer is the proxy's life token, and a worker that holds one may report on while the
/// proxy dies.
class UploadEventReporter {
 public:
  UploadEventReporter(const UploadPlatform& platform, std::shared_ptr<IUploadEventSink> owner);

  /// As of IBsRequstCallback; a null argument is ignored. Called for every request of the chain and for every
  /// delivery of a request. A request that is neither the entitlement query nor the platform's upload causes
  /// no event, so a chain that dies in its first request is silent, which is intended.
  _Result queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) const;

 private:
  void reportUpload(IBsInfoReader& info, IBsErrorInfo& error) const;
  void reportError(IBsErrorInfo& error) const;

  const UploadPlatform& platform_;
  const std::shared_ptr<IUploadEventSink> owner_;
};

}  // namespace KBL
