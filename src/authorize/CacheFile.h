#pragma once

#include "authorize/switchboard/ExternlMediaCacheInfo.h"

#include <cstdint>
#include <string>

namespace KBL {

class KblSqliteUnit;

// The file of one platform's users. It is open only during a load or a save, so processes that share it do
// not hold each other up; the last save wins.

/// "DIRECTORY/PLATFORM_cache.db" with forward slashes.
[[nodiscard]] std::string cacheFilePath(const std::string& directory, std::int32_t platform);

/// Fills `text` with the stored setting; false when the unit is not open or no value could be read. Makes a
/// missing table.
[[nodiscard]] bool readDBAuthorize(KblSqliteUnit& unit, std::string& text);

/// Replaces `list` by the file's records. False, with an empty list, unless the file holds a list, which may
/// be empty; a bad file is left as it is.
[[nodiscard]] bool loadCacheFile(const std::string& path, CacheEntries& list);

/// Rewrites the whole list.
[[nodiscard]] bool saveCacheFile(const std::string& path, const CacheEntries& list);

/// Deletes records without a `userUuid`, and of several with one `userUuid` all but the last.
void removeInvalidCacheInfos(CacheEntries& list);

}  // namespace KBL
