#pragma once

#include <json/forwards.h>

#include <cstdint>
#include <string>

namespace KBL {

class BsBaseInfoRW;

/// A user's tokens at the platform, as the account server hands them out.
struct PlatformTokens {
  /// Reads the member "data" of an envelope; the life of the access token counts from now.
  [[nodiscard]] static PlatformTokens readFrom(const Json::Value& data);
  void storeIn(BsBaseInfoRW& record) const;

  std::string accessToken;
  std::string refreshToken;
  std::int64_t expiresIn = 0;         ///< seconds
  std::int64_t expiresTimestamp = 0;  ///< seconds since the epoch
};

}  // namespace KBL
