#pragma once

#include "uploaders/proxies/UploadCallbackProxy.h"
#include <BsNet/BsInfoReader.h>
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>
#include <KblUtils/RefPtr.h>

#include <memory>
#include <mutex>

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
  /// The record of the upload that was started last.
  [[nodiscard]] RefPtr<IBsInfoReader> uploadInfo();

  std::mutex infoMutex_;                            // a leaf; a stop may come from another upload's event
  RefPtr<IBsInfoReader> uploadInfo_;                ///< guarded by infoMutex_
  std::shared_ptr<UploadEventReporter> lifeToken_;  ///< last member: gone first
};

}  // namespace KBL
