// Saves lists of users into a folder, over and over, until it is killed, and prints the generation of each
// list that has been saved. The key's folder, the cache's and the first generation are told.

#include "authorize/CacheFile.h"
#include <BsNet/cipher.h>

#include <cstdio>
#include <string>

namespace {
constexpr std::size_t manyBytes = 5'000;  // so that a save is a hundred writes, between which death may come
constexpr std::int64_t farAway = 4'102'444'800;  // in 2100, so that nobody's login wants to be renewed
}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 4) return 2;
  KBL::setKeyStore(KBL::makeFileKeyStore(arguments[1]));
  const std::string path = KBL::cacheFilePath(arguments[2], KBL::ema_youtube);
  for (long generation = std::stol(arguments[3]);; ++generation) {
    KBL::CacheEntries list;
    for (int index = 0; index < 20; ++index) {
      KBL::ExternlMediaCacheInfo user;
      user.userUuid = std::to_string(index);
      user.userNickName = std::to_string(generation);
      user.thirdAccessToken = std::string(manyBytes, 't');
      user.expiresTimeout = farAway;
      list.emplace_back(std::move(user));
    }
    if (!KBL::saveCacheFile(path, list)) return 1;
    std::printf("%ld\n", generation);
    if (std::fflush(stdout) != 0) return 1;
  }
}
