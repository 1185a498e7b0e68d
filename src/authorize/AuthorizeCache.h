#pragma once

#include "authorize/CacheFile.h"
#include "authorize/ManagerState.h"
#include <BsNet/IBsInfoReader.h>

#include <mutex>
#include <string>

namespace KBL {

/// The users of a manager in their file. Saves come one after the other and always write the newest list, so
/// that none brings back a user who has gone. Any thread; no lock is held while host code runs.
class AuthorizeCache {
 public:
  explicit AuthorizeCache(ManagerState& state) : state_(state) {}

  /// Takes over the users of this folder's file; makes the folder.
  void load(const char* cacheDir);
  /// Merges what `info` holds into the user's record, saves, and tells of a platform token that changed. An
  /// uuid without record makes one, unless its user has signed out. 0 when it was taken.
  int updateInfo(const std::string& uuid, IBsInfoReader* info);
  /// Writes the newest list, once its file has been read. False, too, when memory is short; never throws.
  [[nodiscard]] bool save();
  /// An empty record of this platform under a generated uuid.
  [[nodiscard]] ExternlMediaCacheInfo newRecord() const;

 private:
  /// What a save has to know before it takes `saveMutex_`, since the host is asked for it.
  struct Preparation {
    CacheSeal seal;
    CacheDeadline deadline;
  };
  /// Reads a file that was out of reach, if it can be now, and asks the host. No lock may be held. Without
  /// memory for it the save fails.
  [[nodiscard]] Preparation prepareSave();
  /// The caller holds `saveMutex_`.
  [[nodiscard]] bool saveNewestLocked(const Preparation& preparation) const;
  void readLate(CacheDeadline deadline);
  void dealInvalidCacheData();
  void logObstacle(const CacheLoad& load) const;
  void tellTokenChanged(const std::string& uuid, const std::string& oldToken, const std::string& newToken);

  ManagerState& state_;
  std::mutex saveMutex_;  ///< held across a change of the records and its save
};

}  // namespace KBL
