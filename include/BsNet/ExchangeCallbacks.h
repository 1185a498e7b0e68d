#pragma once

#include <KblUtils/Export.h>

namespace KBL {

/// Watches one exchange. Called on the thread that runs the exchange; must not block.
class KBL_INTERFACE IBsProgressCallback {
 public:
  /// Bytes so far and in all (0 while unknown). False ends the transfer within 100 ms, also on a stalled
  /// connection. Not called any more once the transfer is over, so the last counts are not told here.
  virtual bool onProgress(long long downloadTotal, long long downloaded, long long uploadTotal,
                          long long uploaded) = 0;
  /// The status line and headers of the reply have come. False ends the transfer.
  virtual bool onReplyStarted(int httpCode) = 0;

 protected:
  ~IBsProgressCallback() = default;
};

/// Takes the body of a reply piece by piece instead of `NetReply::content`. Called on the thread of the
/// exchange.
class KBL_INTERFACE IBsResponseWriteCallback {
 public:
  /// False ends the transfer. `context` is the pointer given with the callback.
  virtual bool onResponseData(const char* data, unsigned long long size, void* context) = 0;

 protected:
  ~IBsResponseWriteCallback() = default;
};

}  // namespace KBL
