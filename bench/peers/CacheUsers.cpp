#include "CacheUsers.h"

#include <BsNet/cipher.h>

#include <filesystem>

namespace {

KBL::CacheEntries makeUsers(int count, const std::string& refreshToken) {
  KBL::CacheEntries users;
  for (int user = 0; user < count; ++user) {
    KBL::ExternlMediaCacheInfo record;
    record.diskType = KBL::ema_youtube;
    record.diskName = "ema_youtube";
    record.userUuid = uuidOf(user);
    record.userAccountUid = "1122334455667788" + std::to_string(user);
    record.accessToken = std::string(64, 'a');
    record.refreshToken = refreshToken;
    record.thirdAccessToken = std::string(180, 't');
    record.userNickName = "somebody";
    record.expiresTimeout = farEnd;
    users.emplace_back(record);
  }
  return users;
}

}  // namespace

std::string uuidOf(int user) {
  return "user-" + std::to_string(user);
}

std::string usersFile(const std::string& cache) {
  return KBL::cacheFilePath(cache, KBL::ema_youtube);
}

bool prepareUsers(const std::string& cache, int count, const std::string& refreshToken) {
  KBL::setKeyStore(KBL::makeFileKeyStore(cache));
  const std::string file = usersFile(cache);
  return std::filesystem::exists(file) || KBL::saveCacheFile(file, makeUsers(count, refreshToken));
}
