#pragma once

#include "boundary/records/RecordInterfaces.h"
#include "foundation/BsNet/IBsRequstCallback.h"

namespace KBL {

/// The manager's upload side. Name for QueryInterfaceByName: "IExternlMediaUploadFile".
class IExternlMediaUploadFile {
 public:
  /// Starts the chain of requests of one upload for the user whom `info` (type 406) names. `callback` (null
  /// allowed, not counted) hears of every request of the chain; a nonzero `consume` puts the
  /// usage-entitlement query before the upload. Returns as soon as the first request was started.
  virtual void asyncUploadMediaFile(IBsExternlMediaUploadInfo* info, IBsRequstCallback* callback,
                                    int consume) = 0;

 protected:
  ~IExternlMediaUploadFile() = default;
};

}  // namespace KBL
