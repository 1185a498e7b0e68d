#pragma once

#include "foundation/BsNet/Result.h"
#include "foundation/object/Export.h"

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

}  // namespace KBL
