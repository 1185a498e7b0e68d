#pragma once

#include "foundation/object/Export.h"

namespace KBL {

/// Watches one exchange. Called on the thread that runs the exchange; must not block.
class KBL_INTERFACE IBsProgressCallback {
 public:
  /// Bytes so far and in all (0 while unknown). False ends the transfer within 100 ms, also on a stalled
  /// connection.
  virtual bool onProgress(long long downloadTotal, long long downloaded, long long uploadTotal,
                          long long uploaded) = 0;
  /// The status line and headers of the reply have come. False ends the transfer.
  virtual bool onReplyStarted(int httpCode) = 0;

 protected:
  ~IBsProgressCallback() = default;
};

}  // namespace KBL
