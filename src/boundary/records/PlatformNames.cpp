#include "boundary/records/PlatformNames.h"

#include <ExternlMediaTransfer/ExternlMediaPlatform.h>

#include <cstddef>

namespace KBL {

namespace {
struct NameRow {
  long long value;
  const char* name;
};

constexpr NameRow platformNames[] = {
    {ema_none, "ema_none"},     {ema_youtube, "ema_youtube"}, {ema_vimeo, "ema_vimeo"},
    {ema_tiktok, "ema_tiktok"}, {ema_douyin, "ema_douyin"},   {ema_count, "ema_count"},
};

constexpr NameRow proxyTypeNames[] = {{1, "Http"}, {2, "Socks4"}, {3, "Socks5"}};

template <std::size_t Count>
const char* nameOf(const NameRow (&rows)[Count], long long value, const char* otherwise) {
  for (const NameRow& row : rows) {
    if (row.value == value) return row.name;
  }
  return otherwise;
}
}  // namespace

const char* platformName(std::int32_t platform) {
  return nameOf(platformNames, platform, "");
}

// The word is spelled so in every log that support has collected.
const char* proxyTypeName(long long type) {
  return nameOf(proxyTypeNames, type, "unknow");
}

}  // namespace KBL
