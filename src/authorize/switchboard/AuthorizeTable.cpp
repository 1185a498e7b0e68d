#include "authorize/switchboard/AuthorizeTable.h"

namespace KBL {

IBsExternlMediaAuthorize* findAuthorize(int platform) {
  if (platform < 0 || platform >= ema_count) return nullptr;
  const std::lock_guard lock(authorizeTableMutex);
  return authorizeTable[platform];
}

RefPtr<IBsExternlMediaAuthorize> holdAuthorize(int platform) {
  if (platform < 0 || platform >= ema_count) return nullptr;
  const std::lock_guard lock(authorizeTableMutex);
  return shareRef(authorizeTable[platform]);
}

}  // namespace KBL
