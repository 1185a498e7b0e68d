#pragma once

#include "foundation/BsNet/IBsInfoReader.h"

namespace KBL {
inline constexpr int infoObjectPubInfo = 1;      ///< answers "IBsPubInfo"
inline constexpr int infoObjectServerProxy = 2;  ///< answers "IBsServerProxyInfo"
}  // namespace KBL

/// Builds a record with one reference, which is the caller's; null for an unknown type or when memory is
/// short. Both records also answer "BsBaseInfoRW". May be called from any thread.
extern "C" KBL_BSNET_API KBL::IBsInfoReader* createInfoObject(int type);
