#include "authorize/CacheFile.h"

#include "authorize/CacheDocument.h"
#include "boundary/records/PlatformNames.h"
#include "foundation/Texts.h"
#include <KblLogger/KblLogger.h>
#include <KblUtils/KblSqliteUnit.h>
#include <KblUtils/Path.h>
#include <KblUtils/TimeUtil.h>

#include <algorithm>
#include <memory_resource>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace KBL {

namespace {
constexpr const char* settingTable = "AppSetting";
constexpr const char* settingKey = "Authorize";
constexpr const char* savedAtFormat = "%Y/%m/%d %H:%M:%S";
}  // namespace

std::string cacheFilePath(const std::string& directory, std::int32_t platform) {
  return PathUtil::normalizeSlash(Path(directory + "/" + platformName(platform) + "_cache.db")).string();
}

CacheDeadline cacheDeadline() {
  return std::chrono::steady_clock::now() + sqlitePatience;
}

bool readDBAuthorize(KblSqliteUnit& unit, std::string& text) {
  if (unit.isOpened() == 0) return false;
  char* value = nullptr;
  if (unit.getSettingValue(settingTable, settingKey, &value) != resultOk) {
    if (!unit.failedByContents()) return false;  // the table may be there
    if (unit.createSettingTable(settingTable) != resultOk) {
      KBL_LOG_AS(severityError, "KBL::BsExternlMediaAuthorize::readDBAuthorize",
                 "create table appsetting FAILED");
    }
    return false;
  }
  text = textOrEmpty(value);
  KblSqliteUnit::freeSettingValue(value);
  return true;
}

namespace {
/// The stored text, empty when there is none.
CacheLoad readCacheText(const std::string& path, std::string& text, CacheDeadline deadline) {
  KblSqliteUnit unit;
  const bool opened = unit.open(Path(path).string().c_str(), deadline) == resultOk;
  const bool found = opened && readDBAuthorize(unit, text);
  if (found || unit.failedByContents()) return {};
  return {false, unit.failure()};
}
}  // namespace

CacheLoad loadCacheFile(const std::string& path, CacheEntries& list, CacheDeadline deadline) {
  list.clear();
  std::string text;
  CacheLoad load = readCacheText(path, text, deadline);
  if (text.empty()) return load;
  const CipherKey key = CipherKey::current();
  if (!key) return {false, "no key"};
  auto loaded = openCacheText(text, key);
  if (!loaded) return load;
  list = std::move(*loaded);
  load.loaded = true;
  return load;
}

CacheSeal CacheSeal::fetch() {
  return {CipherKey::current(), TimeUtil::now(savedAtFormat)};
}

bool saveCacheFile(const std::string& path, const CacheEntries& list, const CacheSeal& seal,
                   CacheDeadline deadline) {
  KblSqliteUnit unit;
  if (unit.open(Path(path).string().c_str(), deadline) != resultOk) return false;
  const auto text = sealCacheDocument(padCacheDocument(cacheDocument(list, seal.savedAt)), seal.key);
  const bool saved = text && unit.isOpened() != 0 &&
                     unit.setSettingValue(settingTable, settingKey, text->c_str()) == resultOk;
  unit.close();
  return saved;
}

void removeInvalidCacheInfos(CacheEntries& list) {
  // From the tail, so that the last of several stays.
  std::pmr::monotonic_buffer_resource room;
  std::pmr::unordered_set<std::string_view> seen(list.size(), &room);
  const auto isInvalid = [&](const CacheEntry& user) {
    return user->userUuid.empty() || !seen.insert(user->userUuid).second;
  };
  list.erase(list.begin(), std::remove_if(list.rbegin(), list.rend(), isInvalid).base());
}

}  // namespace KBL
