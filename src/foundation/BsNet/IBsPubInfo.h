#pragma once

#include "foundation/BsNet/IBsBaseInfoRW.h"

namespace KBL {

/// Public information of the host product: the PubCharKey values that become request headers. Made by
/// `createInfoObject(infoObjectPubInfo)`; filled by the host through `IBsBaseInfoRW`.
class KBL_INTERFACE IBsPubInfo : public virtual IBsBaseInfoRW {
 public:
  /// Removes the entry of `key` from this record alone.
  virtual _Result removeKey(const char* key) = 0;

 protected:
  ~IBsPubInfo() = default;
};

}  // namespace KBL
