#pragma once

#include "authorize/switchboard/IBsExternlMediaAuthorize.h"
#include "foundation/BsNet/BsBaseInfoRW.h"
#include "foundation/object/RefPtr.h"
#include "uploaders/UploadCallbackProxy.h"

#include <memory>

namespace KBL {

/// The design that the proxies of all native platforms share; a row of UploadPlatform holds what differs.
class PlatformUploadProxy : public IPlatformUploadProxy {
 public:
  std::int32_t StartUpload(hostTransferRecord* record) override;
  std::int32_t StopUpload() override;
  std::int32_t Logout() override;
  std::int32_t GetUserInfo(hostAccountRecord* record) override;
  _Result queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) override;

 protected:
  /// Enters itself at `callbacks` in place of the proxy that stood there.
  PlatformUploadProxy(int transferPlatform, UploadCallbackProxy& callbacks,
                      std::shared_ptr<IUploadEventSink> owner);
  ~PlatformUploadProxy() = default;

 private:
  const UploadPlatform& platform_;
  UploadCallbackProxy& callbacks_;
  RefPtr<IBsInfoReader> uploadInfo_;                ///< of the upload that was started last
  std::shared_ptr<UploadEventReporter> lifeToken_;  ///< last member: gone first
};

}  // namespace KBL
