// The file of the cache as SQLite finds it. What is no list is replaced by the next save, which can be read.
#include "authorize/CacheFile.h"
#include "fuzz/support/FixedKey.h"
#include "fuzz/support/ScratchFile.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  useFixedKey();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ScratchFile file;
  file.write(data, size);
  const std::string path = file.path().string();
  KBL::CacheEntries list;
  const KBL::CacheLoad load = KBL::loadCacheFile(path, list);
  if (!load.loaded && !list.empty()) std::abort();
  if (!load.obstacle.empty()) return 0;
  KBL::ExternlMediaCacheInfo user;
  user.userUuid = "u";
  list.emplace_back(user);
  if (!KBL::saveCacheFile(path, list)) return 0;
  KBL::CacheEntries again;
  if (!KBL::loadCacheFile(path, again) || again.size() != list.size()) std::abort();
  return 0;
}
