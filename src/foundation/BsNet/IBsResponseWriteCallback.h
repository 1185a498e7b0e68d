#pragma once

#include "foundation/object/Export.h"

namespace KBL {

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
