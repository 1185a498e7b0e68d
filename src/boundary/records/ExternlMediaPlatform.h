#pragma once

#include <cstdint>

namespace KBL {

/// Platforms of the authorization side. The value indexes the managers and is stored with a cached user.
enum ExternlMediaPlatform : std::int32_t {
  ema_none = -1,
  ema_youtube = 0,
  ema_vimeo = 1,
  ema_tiktok = 2,
  ema_douyin = 3,
  ema_count = 4,
};

/// "ema_youtube" and so on; an unknown value gives an empty text. The text is static.
[[nodiscard]] const char* platformName(std::int32_t platform);

/// "Http" for 1, "Socks4" for 2, "Socks5" for 3, "unknow" for anything else. The text is static.
[[nodiscard]] const char* proxyTypeName(long long type);

}  // namespace KBL
