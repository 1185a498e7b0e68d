#pragma once

#include <KblUtils/Export.h>
#include <KblUtils/Result.h>

#include <map>
#include <string>

namespace KBL {

/// Orders header names without regard to ASCII case: services answer in lower case over HTTP/2.
struct KBL_BSNET_API HeaderNameLess {
  bool operator()(const std::string& left, const std::string& right) const;
};

using HeaderMap = std::map<std::string, std::string, HeaderNameLess>;

/// Outcome of one exchange.
struct NetReply {
  int httpCode = -1;  ///< HTTP status of a whole reply; -1 until then, so after a failed transport
  int resultCode = transportPending;  ///< raw transport code, 0 for a completed exchange, whatever its status
  std::string content;                ///< decoded body
  std::string errorMessage;           ///< text of a transport failure
  HeaderMap headers;                  ///< headers of the last response
  HeaderMap trailers;                 ///< trailers of a chunked response
};

/// What is added to a transport's own code.
inline constexpr int transportErrorBase = 200000;

}  // namespace KBL

/// Maps the transport result of a NetReply to an error code: 0 stays 0; codes of this library (negative ones,
/// 140013) stay; every other code n, a CURLcode with the reference network client, becomes 200000 + n, so
/// that a server's small codes cannot be mistaken for a transport failure. Null returns 0.
extern "C" KBL_BSNET_API int covertToErrorCode(const int* transportCode);
