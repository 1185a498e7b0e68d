#pragma once

#include "boundary/records/HostRecords.h"
#include "foundation/BsNet/IBsRequstCallback.h"

#include <cstdint>

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

}  // namespace KBL
