#include "requests/PlatformTokens.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/BsNet/BsBaseInfoRW.h"
#include "foundation/KblUtils/TimeUtil.h"
#include "requests/JsonAccess.h"

#include <limits>

namespace KBL {

namespace {

std::int64_t expiryFromNow(std::int64_t expiresIn) {
  const auto now = static_cast<std::int64_t>(TimeUtil::nowSinceEpoch() / 1000);
  // A server may send any number; one below the greatest, which reads as an absent key.
  constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max() - 1;
  return expiresIn > latest - now ? latest : expiresIn + now;
}

}  // namespace

PlatformTokens PlatformTokens::readFrom(const Json::Value& data) {
  PlatformTokens tokens;
  tokens.accessToken = jsonText(data, "access_token");
  tokens.refreshToken = jsonText(data, "refresh_token");
  tokens.expiresIn = jsonInt64(data, "expires_in");
  tokens.expiresTimestamp = expiryFromNow(tokens.expiresIn);
  return tokens;
}

void PlatformTokens::storeIn(BsBaseInfoRW& record) const {
  record.setCharKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken, accessToken.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::refreshToken, refreshToken.c_str());
  record.setIntKeyConfig(ExternlMediaMixedIntKey::expiresIn, expiresIn);
  record.setIntKeyConfig(ExternlMediaMixedIntKey::expiresTimestamp, expiresTimestamp);
}

}  // namespace KBL
