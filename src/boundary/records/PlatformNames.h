#pragma once

#include <cstdint>

namespace KBL {

/// "ema_youtube" and so on; an unknown value gives an empty text. The text is static.
[[nodiscard]] const char* platformName(std::int32_t platform);

/// "Http" for 1, "Socks4" for 2, "Socks5" for 3, "unknow" for anything else. The text is static.
[[nodiscard]] const char* proxyTypeName(long long type);

}  // namespace KBL
