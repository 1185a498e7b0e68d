#include "authorize/switchboard/ExternlMediaCacheInfo.h"

#include <algorithm>

namespace KBL {

const ExternlMediaCacheInfo* findCacheInfo(const CacheEntries& list, const std::string& uuid) {
  const auto found = std::find_if(list.begin(), list.end(),
                                  [&](const ExternlMediaCacheInfo& entry) { return entry.userUuid == uuid; });
  return found == list.end() ? nullptr : &*found;
}

const ExternlMediaCacheInfo* findUserOrLast(const CacheEntries& list, const std::string& uuid) {
  if (list.empty()) return nullptr;
  return uuid.empty() ? &list.back() : findCacheInfo(list, uuid);
}

}  // namespace KBL
