#include "authorize/AuthorizeCache.h"

#include "authorize/managerLog.h"
#include "authorize/switchboard/RequestFlow.h"
#include "boundary/records/PlatformNames.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/Path.h>
#include <KblUtils/StringUtil.h>
#include <KblUtils/TimeUtil.h>

#include <algorithm>
#include <functional>
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

/// The file's users stand first. Memory is newer, so that it wins; who signed out meanwhile stays out.
void mergeLateLoad(ManagerUsers& users, CacheEntries&& loaded) {
  std::erase_if(loaded, [&](const CacheEntry& user) { return users.signedOut.contains(user->userUuid); });
  loaded.insert(loaded.end(), users.entries.begin(), users.entries.end());
  removeInvalidCacheInfos(loaded);
  users.entries = std::move(loaded);
}
}  // namespace

void AuthorizeCache::load(const char* cacheDir) {
  const Path directory =
      PathUtil::normalizeSlash(PathUtil::absolute(PathUtil::normalizeSlash(Path(cacheDir))));
  FileUtil::makePrivateDirectory(directory);

  CacheEntries list;
  const CacheLoad load = loadCacheFile(cacheFilePath(directory.string(), state_.platform), list);
  state_.users.change([&](ManagerUsers& users) {
    users.cacheDir = directory.string();
    for (const CacheEntry& user : list) users.signedOut.erase(user->userUuid);
    users.entries = std::move(list);
    users.cacheUnread = !load.obstacle.empty();
  });
  KBL_MANAGER_LOG(severityInfo, "init", state_.logTag << ", load cache" << outcomeText(load.loaded));
  logObstacle(load);
  if (load) dealInvalidCacheData();
}

void AuthorizeCache::dealInvalidCacheData() {
  state_.users.change([](ManagerUsers& users) { removeInvalidCacheInfos(users.entries); });
  // An expired record stays on purpose: its refresh token may still be good.
  const auto nowSeconds = static_cast<std::int64_t>(TimeUtil::nowSinceEpoch() / 1000);
  const auto now = state_.users.read();
  for (const CacheEntry& user : now->entries) {
    if (user->expiresTimeout >= nowSeconds) continue;
    KBL_MANAGER_LOG(
        severityInfo, "dealInvalidCacheData",
        state_.logTag << " cache info expired:" << user->userUuid << ",expireTime:" << user->expiresTimeout);
  }
}

ExternlMediaCacheInfo AuthorizeCache::newRecord() const {
  ExternlMediaCacheInfo record;
  record.diskType = state_.platform;
  record.diskName = platformName(state_.platform);
  record.userUuid = generateUuid();
  return record;
}

void AuthorizeCache::logObstacle(const CacheLoad& load) const {
  if (!load.obstacle.empty())
    KBL_MANAGER_LOG(severityWarning, "logObstacle",
                    state_.logTag << ", cache file left alone: " << load.obstacle);
}

AuthorizeCache::Preparation AuthorizeCache::prepareSave() try {
  const CacheDeadline deadline = cacheDeadline();
  readLate(deadline);
  const auto now = state_.users.read();
  const bool hasFile = !now->cacheDir.empty() && !now->cacheUnread;
  return {hasFile ? CacheSeal::fetch() : CacheSeal{}, deadline};
} catch (...) {
  passThreadEnd();
  return {};  // without a key nothing is written
}

void AuthorizeCache::readLate(CacheDeadline deadline) {
  const auto before = state_.users.read();
  if (!before->cacheUnread) return;
  CacheEntries list;
  const CacheLoad load = loadCacheFile(cacheFilePath(before->cacheDir, state_.platform), list, deadline);
  logObstacle(load);
  if (!load.obstacle.empty()) return;
  const std::size_t users = list.size();
  const bool merged = state_.users.change([&](ManagerUsers& now) {
    const bool isStillWanted = now.cacheUnread && now.cacheDir == before->cacheDir;
    if (!isStillWanted) return false;  // another save was faster
    mergeLateLoad(now, std::move(list));
    now.cacheUnread = false;
    return true;
  });
  if (!merged) return;
  KBL_MANAGER_LOG(severityInfo, "readCacheLate", state_.logTag << ", cache file read late, users: " << users);
  if (load) dealInvalidCacheData();
}

/// One save, outside the lock. It ends for all that wait for it also where the system takes its thread away.
class AuthorizeCache::Writing {
 public:
  Writing(AuthorizeCache& cache, std::unique_lock<std::mutex>& lock)
      : cache_(cache), lock_(lock), last_(cache.asked_) {
    cache_.isWriting_ = true;
    lock_.unlock();
  }
  ~Writing() {
    lock_.lock();
    cache_.isWriting_ = false;
    cache_.ended_ = last_;
    if (isWritten_) cache_.written_ = last_;
    cache_.saveEnded_.notify_all();
  }
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;

  void end(bool isWritten) { isWritten_ = isWritten; }

 private:
  AuthorizeCache& cache_;
  std::unique_lock<std::mutex>& lock_;
  const std::uint64_t last_;  // all up to this one are covered
  bool isWritten_ = false;
};

bool AuthorizeCache::writeNewest(const Preparation& preparation) const try {
  const auto newest = state_.users.read();
  if (newest->cacheDir.empty() || newest->cacheUnread) return false;
  return saveCacheFile(cacheFilePath(newest->cacheDir, state_.platform), newest->entries, preparation.seal,
                       preparation.deadline);
} catch (...) {
  passThreadEnd();
  return false;
}

bool AuthorizeCache::write(Preparation preparation) {
  std::unique_lock lock(saveMutex_);
  const std::uint64_t mine = ++asked_;
  // Nobody who is covered is given less time than alone.
  const CacheDeadline deadline = std::max(preparation.deadline, newest_.deadline);
  if (preparation.seal.key || !newest_.seal.key) newest_ = std::move(preparation);
  newest_.deadline = deadline;
  saveEnded_.wait(lock, [&] { return ended_ >= mine || !isWriting_; });
  if (ended_ < mine) {
    const Preparation prepared = std::exchange(newest_, {});
    Writing writing(*this, lock);
    writing.end(writeNewest(prepared));
  }
  return written_ >= mine;
}

bool AuthorizeCache::save() {
  return write(prepareSave());
}

// Look-up and change are one step, so that a user who logs out meanwhile is either updated first or gone, and
// a late answer then makes no record at all. Any other unknown uuid makes one under a generated uuid.
int AuthorizeCache::updateInfo(const std::string& uuid, IBsInfoReader* info) {
  if (info == nullptr) return 1;
  // A consume query may be made before any login; what it learns belongs to nobody.
  if (uuid.empty()) return 1;
  if (RequestFlow* const flow = ScopedRequestFlow::current()) flow->beginAnswer();
  const CachePatch patch(*info);
  ExternlMediaCacheInfo former = newRecord();
  ExternlMediaCacheInfo merged;
  const std::string accessTag = state_.logTag + "access token:";
  const std::string refreshTag = state_.logTag + "refresh token:";
  Preparation preparation = prepareSave();
  bool signedOut = false;
  state_.users.change([&](ManagerUsers& users) {
    signedOut = users.hasSignedOut(uuid);
    if (signedOut) return;
    auto& list = users.entries;
    removeInvalidCacheInfos(list);
    const auto place = std::find_if(list.begin(), list.end(),
                                    [&](const CacheEntry& user) { return user->userUuid == uuid; });
    if (place != list.end()) former = **place;
    merged = former;
    patch.apply(merged);
    place != list.end() ? void(*place = merged) : void(list.emplace_back(merged));
  });
  const bool saved = !signedOut && write(std::move(preparation));
  // From the change on nothing throws: a token that was stored is told.
  if (signedOut) {
    state_.tellLateAnswer(uuid);
    return 1;
  }
  KBL_MANAGER_LOG(severityInfo, "updateInfo",
                  state_.logTag << ", save cloud disk cache, " << outcomeText(saved));
  printSecureInfo(accessTag, merged.accessToken);
  printSecureInfo(refreshTag, merged.refreshToken);
  if (merged.thirdAccessToken != former.thirdAccessToken) {
    tellTokenChanged(uuid, former.thirdAccessToken, merged.thirdAccessToken);
  }
  return 0;
}

void AuthorizeCache::tellTokenChanged(const std::string& uuid, const std::string& oldToken,
                                      const std::string& newToken) {
  KBL_MANAGER_LOG(severityInfo, "cbExternlMediaAccessTokenChanged",
                  state_.logTag << ", uuid: " << uuid << " , " << secureInfoText("old", oldToken) << " , "
                                << secureInfoText("new", newToken));
  // Told of a canceled login, too, since the token was stored; not of a user who has signed out meanwhile.
  bool dropped = false;
  const auto wanted = [&] {
    dropped = state_.hasSignedOut(uuid);
    return !dropped;
  };
  const auto tell = [&](IExternlMediaAuthCallback& callback) {
    callback.onAccessTokenChanged(uuid.c_str(), oldToken.c_str(), newToken.c_str());
  };
  state_.callbacks.tellWhile(std::cref(wanted), std::cref(tell));
  if (dropped) state_.tellLateAnswer(uuid);
}

}  // namespace KBL
