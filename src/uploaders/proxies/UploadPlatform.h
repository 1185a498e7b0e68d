#pragma once

#include "uploaders/proxies/IUploadEventSink.h"
#include <BsNet/IBsRequstCallback.h>
#include <ExternlMediaTransfer/HostRecords.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <cstdint>
#include <memory>

namespace KBL {

/// Stands between an upload object and a platform's manager. One owner, which calls from one thread at a
/// time; `queryResponse` comes on workers.
class IPlatformUploadProxy : public virtual IBsRequstCallback {
 public:
  /// Starts the upload that the record describes; the record is copied. 0 when it was handed to the manager,
  /// 1 without one.
  virtual std::int32_t StartUpload(hostTransferRecord* record) = 0;
  /// Tells the last upload that was started to stop, which it does between two chunks. Always 0.
  virtual std::int32_t StopUpload() = 0;
  /// Signs the user out who signed in last: 0 done, 1 without a manager or when it refused.
  virtual std::int32_t Logout() = 0;
  /// Fills the user who signed in last: 0 done, 1 without a manager or user.
  virtual std::int32_t GetUserInfo(hostAccountRecord* record) = 0;

 protected:
  ~IPlatformUploadProxy() = default;
};

/// Everything in which the native platforms differ before their upload requests begin: which proxy serves
/// one.
struct UploadPlatform {
  TransferPlatform transferPlatform;
  int managerIndex;             ///< an ExternlMediaPlatform
  const char* name;             ///< in warnings
  const char* proxyClassName;   ///< in log lines
  int uploadRequestType;        ///< an ExternlMediaAuthRequestType
  bool copiesUser;              ///< its upload request needs the cached user's keys
  bool fillsCategories;         ///< its users have video categories
  int (*errorValue)(int code);  ///< the host's number of an error code; 0 for the general one
  std::shared_ptr<IPlatformUploadProxy> (*makeProxy)(std::shared_ptr<IUploadEventSink> owner);
};

/// The row of a native platform, or null for a platform that scripts alone serve.
[[nodiscard]] const UploadPlatform* findUploadPlatform(int transferPlatform);

}  // namespace KBL
