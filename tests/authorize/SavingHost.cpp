// Saves lists of users into a folder, over and over, until it is killed. Each list is of one generation.

#include "authorize/CacheFile.h"
#include <BsNet/cipher.h>

#include <cstdio>
#include <string>

int main(int argumentCount, char** arguments) {
  if (argumentCount != 3) return 2;
  KBL::setKeyStore(KBL::makeFileKeyStore(arguments[1]));
  const std::string path = KBL::cacheFilePath(arguments[2], KBL::ema_youtube);
  for (int generation = 0;; ++generation) {
    KBL::CacheEntries list;
    for (int index = 0; index < 20; ++index) {
      KBL::ExternlMediaCacheInfo user;
      user.userUuid = std::to_string(index);
      user.userNickName = std::to_string(generation);
      user.thirdAccessToken = std::string(500, 't');
      list.emplace_back(std::move(user));
    }
    if (!KBL::saveCacheFile(path, list)) return 1;
    if (generation == 0) std::puts("saved");
    if (std::fflush(stdout) != 0) return 1;
  }
}
