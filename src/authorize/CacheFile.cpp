#include "authorize/CacheFile.h"

#include "authorize/CacheDocument.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/KblUtils/KblSqliteUnit.h"
#include "foundation/KblUtils/Path.h"
#include "foundation/KblUtils/TimeUtil.h"

#include <set>
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

bool readDBAuthorize(KblSqliteUnit& unit, std::string& text) {
  if (unit.isOpened() == 0) return false;
  char* value = nullptr;
  if (unit.getSettingValue(settingTable, settingKey, &value) != resultOk) {
    if (unit.createSettingTable(settingTable) != resultOk) KBL_LOG(error, "create table appsetting FAILED");
    return false;
  }
  text = value == nullptr ? "" : value;
  KblSqliteUnit::freeSettingValue(value);
  return true;
}

bool loadCacheFile(const std::string& path, CacheEntries& list) {
  list.clear();
  KblSqliteUnit unit;
  if (unit.open(Path(path).string().c_str()) != resultOk) return false;
  std::string text;
  const bool found = readDBAuthorize(unit, text);
  unit.close();
  if (!found) return false;
  auto loaded = openCacheText(text);
  if (!loaded) return false;
  list = std::move(*loaded);
  return true;
}

bool saveCacheFile(const std::string& path, const CacheEntries& list) {
  KblSqliteUnit unit;
  if (unit.open(Path(path).string().c_str()) != resultOk) return false;
  const auto text = sealCacheDocument(padCacheDocument(cacheDocument(list, TimeUtil::now(savedAtFormat))));
  const bool saved = text && unit.isOpened() != 0 &&
                     unit.setSettingValue(settingTable, settingKey, text->c_str()) == resultOk;
  unit.close();
  return saved;
}

void removeInvalidCacheInfos(CacheEntries& list) {
  std::set<std::string> seen;
  for (std::size_t next = list.size(); next > 0; --next) {
    const std::size_t index = next - 1;
    const std::string& uuid = list[index].userUuid;
    if (uuid.empty() || !seen.insert(uuid).second)
      list.erase(list.begin() + static_cast<std::ptrdiff_t>(index));
  }
}

}  // namespace KBL
