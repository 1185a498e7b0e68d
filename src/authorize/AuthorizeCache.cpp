// Records of the signed-in users, and their file.

#include "authorize/CacheFile.h"
#include "authorize/ExternlMediaAuthorize.h"
#include "authorize/SecureInfo.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/KblUtils/FileUtil.h"
#include "foundation/KblUtils/Path.h"
#include "foundation/KblUtils/StringUtil.h"
#include "foundation/KblUtils/TimeUtil.h"

#include <algorithm>
#include <utility>

namespace KBL {

namespace {
/// What an info record says of a user: the fields whose keys are present.
class CachePatch {
 public:
  explicit CachePatch(IBsInfoReader& info) {
    readText(info, ExternlMediaMixedCharKey::accessToken, &ExternlMediaCacheInfo::accessToken);
    readText(info, ExternlMediaMixedCharKey::refreshToken, &ExternlMediaCacheInfo::refreshToken);
    readNumber(info, ExternlMediaMixedIntKey::expiresIn, &ExternlMediaCacheInfo::expiresIn);
    readNumber(info, ExternlMediaMixedIntKey::expiresTimestamp, &ExternlMediaCacheInfo::expiresTimeout);
    readText(info, ExternlMediaMixedCharKey::userAccount, &ExternlMediaCacheInfo::userAccount);
    readText(info, ExternlMediaMixedCharKey::userAccountUid, &ExternlMediaCacheInfo::userAccountUid);
    readText(info, ExternlMediaMixedCharKey::userFirstName, &ExternlMediaCacheInfo::userFirstName);
    readText(info, ExternlMediaMixedCharKey::userLastName, &ExternlMediaCacheInfo::userLastName);
    readText(info, ExternlMediaMixedCharKey::userNickName, &ExternlMediaCacheInfo::userNickName);
    readText(info, ExternlMediaMixedCharKey::userAvatarLocal, &ExternlMediaCacheInfo::userAvatarLocal);
    readText(info, ExternlMediaMixedCharKey::userAvatarUrl, &ExternlMediaCacheInfo::userAvatarUrl);
    readText(info, ExternlMediaMixedCharKey::videoCategories, &ExternlMediaCacheInfo::videoCategories);
    readText(info, ExternlMediaMixedCharKey::thirdAccessToken, &ExternlMediaCacheInfo::thirdAccessToken);
  }

  void apply(ExternlMediaCacheInfo& record) const {
    for (const auto& [field, text] : texts_) record.*field = text;
    for (const auto& [field, number] : numbers_) record.*field = number;
  }

 private:
  using TextField = std::string ExternlMediaCacheInfo::*;
  using NumberField = std::int64_t ExternlMediaCacheInfo::*;

  void readText(IBsInfoReader& info, const char* key, TextField field) {
    if (const char* const text = info.charKeyConfig(key)) texts_.emplace_back(field, text);
  }
  void readNumber(IBsInfoReader& info, const char* key, NumberField field) {
    const long long number = info.intKeyConfig(key);
    if (number != absentIntValue) numbers_.emplace_back(field, number);
  }

  std::vector<std::pair<TextField, std::string>> texts_;
  std::vector<std::pair<NumberField, std::int64_t>> numbers_;
};

constexpr const char* outcomeText(bool done) {
  return done ? "OK" : "FAILED";
}

std::string generateUuid() {
  char buffer[64] = {};
  KblGenerateUuid(buffer);
  return buffer;
}
}  // namespace

_Result BsExternlMediaAuthorize::init(const char* cacheDir, int refreshIntervalMs) {
  if (cacheDir == nullptr) return resultFailed;
  KBL_LOG(info, logTag_ << ", externlmediaauthorize 20220829");
  const Path directory =
      PathUtil::normalizeSlash(PathUtil::absolute(PathUtil::normalizeSlash(Path(cacheDir))));
  FileUtil::makePrivateDirectory(directory);

  CacheEntries list;
  const bool loaded = loadCacheFile(cacheFilePath(directory.string(), platform_), list);
  context_.change([&](AuthContext& context) {
    context.cacheDir = directory.string();
    context.cacheEntries = std::move(list);
  });
  KBL_LOG(info, logTag_ << ", load cache" << outcomeText(loaded));
  if (loaded) dealInvalidCacheData();

  const int interval = std::clamp(refreshIntervalMs, minRefreshIntervalMs, maxRefreshIntervalMs);
  context_.change([&](AuthContext& context) { context.refreshIntervalMs = interval; });
  KBL_LOG(info, logTag_ << ", refresh access token interval " << interval << " ms");
  return resultOk;
}

void BsExternlMediaAuthorize::dealInvalidCacheData() {
  context_.change([](AuthContext& context) { removeInvalidCacheInfos(context.cacheEntries); });
  // An expired record stays on purpose: its refresh token may still be good.
  const auto nowSeconds = static_cast<std::int64_t>(TimeUtil::nowSinceEpoch() / 1000);
  const auto now = context();
  for (const ExternlMediaCacheInfo& record : now->cacheEntries) {
    if (record.expiresTimeout >= nowSeconds) continue;
    KBL_LOG(info,
            logTag_ << " cache info expired:" << record.userUuid << ",expireTime:" << record.expiresTimeout);
  }
}

ExternlMediaCacheInfo BsExternlMediaAuthorize::initCacheInfo() const {
  ExternlMediaCacheInfo record;
  record.diskType = platform_;
  record.diskName = platformName(platform_);
  record.userUuid = generateUuid();
  return record;
}

bool BsExternlMediaAuthorize::saveNewestLocked() const {
  const auto newest = context();
  if (newest->cacheDir.empty()) return false;  // never initialised: no file to write to
  return saveCacheFile(cacheFilePath(newest->cacheDir, platform_), newest->cacheEntries);
}

// Look-up and change are one step, so that a user who logs out meanwhile is either updated first or gone: a
// late answer then makes a record of its own under a fresh uuid, never one under the uuid that has gone.
int BsExternlMediaAuthorize::updateInfo(const std::string& uuid, IBsInfoReader* info) {
  if (info == nullptr) return 1;
  // A consume query may be made before any login; what it learns belongs to nobody.
  if (uuid.empty()) return 1;
  const CachePatch patch(*info);
  ExternlMediaCacheInfo former = initCacheInfo();
  ExternlMediaCacheInfo merged;
  bool saved = false;
  {
    const std::lock_guard lock(stateMutex_);
    context_.change([&](AuthContext& context) {
      auto& list = context.cacheEntries;
      removeInvalidCacheInfos(list);
      const auto place = std::find_if(list.begin(), list.end(), [&](const ExternlMediaCacheInfo& record) {
        return record.userUuid == uuid;
      });
      if (place != list.end()) former = *place;
      merged = former;
      patch.apply(merged);
      place != list.end() ? void(*place = merged) : list.push_back(merged);
    });
    saved = saveNewestLocked();
  }
  KBL_LOG(info, logTag_ << ", save cloud disk cache, " << outcomeText(saved));
  printSecureInfo(logTag_ + "access token:", merged.accessToken);
  printSecureInfo(logTag_ + "refresh token:", merged.refreshToken);
  if (merged.thirdAccessToken != former.thirdAccessToken) {
    cbExternlMediaAccessTokenChanged(uuid, former.thirdAccessToken, merged.thirdAccessToken);
  }
  return 0;
}

void BsExternlMediaAuthorize::cbExternlMediaAccessTokenChanged(const std::string& uuid,
                                                               const std::string& oldToken,
                                                               const std::string& newToken) {
  KBL_LOG(info, logTag_ << ", uuid: " << uuid << " , " << secureInfoText("old", oldToken) << " , "
                        << secureInfoText("new", newToken));
  tellAuthCallbacks([&](IExternlMediaAuthCallback& callback) {
    callback.onAccessTokenChanged(uuid.c_str(), oldToken.c_str(), newToken.c_str());
  });
}

}  // namespace KBL
