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

}  // namespace KBL
