#pragma once

#include "foundation/object/Export.h"

/// Maps the transport result of a NetReply to an error code: 0 stays 0; codes of this library (negative ones,
/// 140013) stay; every other code n, a CURLcode with the reference network client, becomes 200000 + n, so
/// that a server's small codes cannot be mistaken for a transport failure. Null returns 0.
extern "C" KBL_BSNET_API int covertToErrorCode(const int* transportCode);

namespace KBL {
/// What is added to a transport's own code.
inline constexpr int transportErrorBase = 200000;
}  // namespace KBL
