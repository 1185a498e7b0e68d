#pragma once

#include "authorize/switchboard/ExternlMediaCacheInfo.h"
#include <BsNet/cipher.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace KBL {

class KblSqliteUnit;

// The file of one platform's users. It is open only during a load or a save, so processes that share it do
// not hold each other up; the last save wins.

/// Until when a load or a save, with everything that belongs to it, waits for other processes.
using CacheDeadline = std::chrono::steady_clock::time_point;

/// Five seconds from now.
[[nodiscard]] CacheDeadline cacheDeadline();

/// "DIRECTORY/PLATFORM_cache.db" with forward slashes.
[[nodiscard]] std::string cacheFilePath(const std::string& directory, std::int32_t platform);

/// Fills `text` with the stored setting; false when the unit is not open or no value could be read. Makes a
/// missing table.
[[nodiscard]] bool readDBAuthorize(KblSqliteUnit& unit, std::string& text);

/// How a load ended.
struct CacheLoad {
  bool loaded = false;
  /// What kept the file away, though it may hold users: another process, the disk, the rights, short memory,
  /// a key that cannot be had. Such a file must not be written before it has been read. Empty when it was
  /// read, whatever it held.
  std::string obstacle;

  explicit operator bool() const { return loaded; }
};

/// Replaces `list` by the file's records. Not loaded, with an empty list, unless the file holds a list, which
/// may be empty; a bad file is left as it is. Asks the key store, so that no lock may be held.
[[nodiscard]] CacheLoad loadCacheFile(const std::string& path, CacheEntries& list,
                                      CacheDeadline deadline = cacheDeadline());

/// What a save takes from the host, its key store and its clock, before any lock is held.
struct CacheSeal {
  CipherKey key;
  std::string savedAt;

  [[nodiscard]] static CacheSeal fetch();
};

/// Rewrites the whole list.
[[nodiscard]] bool saveCacheFile(const std::string& path, const CacheEntries& list,
                                 const CacheSeal& seal = CacheSeal::fetch(),
                                 CacheDeadline deadline = cacheDeadline());

/// Deletes records without a `userUuid`, and of several with one `userUuid` all but the last.
void removeInvalidCacheInfos(CacheEntries& list);

}  // namespace KBL
