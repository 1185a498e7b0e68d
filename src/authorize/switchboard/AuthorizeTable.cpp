#include "authorize/switchboard/AuthorizeTable.h"

namespace KBL {

IBsExternlMediaAuthorize* findAuthorize(int platform) {
  if (platform < 0 || platform >= ema_count) return nullptr;
  const std::lock_guard lock(authorizeTableMutex);
  return authorizeTable[platform];
}

}  // namespace KBL
