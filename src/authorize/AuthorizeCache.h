#pragma once

#include "authorize/CacheFile.h"
#include "authorize/ManagerState.h"
#include <BsNet/IBsInfoReader.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

namespace KBL {

/// The users of a manager in their file. Saves come one after the other and always write the newest list, so
/// that none brings back a user who has gone. All that are asked for while one is being written are the next
/// one together. Any thread; no lock is held while host code runs.
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
    CacheDeadline deadline{};
  };
  class Writing;

  /// Reads a file that was out of reach, if it can be now, and asks the host. No lock may be held. Without
  /// memory for it the save fails.
  [[nodiscard]] Preparation prepareSave();
  /// Returns when the list as it stands now, or a newer one, has been written; whether that was done.
  [[nodiscard]] bool write(Preparation preparation);
  [[nodiscard]] bool writeNewest(const Preparation& preparation) const;
  void readLate(CacheDeadline deadline);
  void dealInvalidCacheData();
  void logObstacle(const CacheLoad& load) const;
  void tellTokenChanged(const std::string& uuid, const std::string& oldToken, const std::string& newToken);

  ManagerState& state_;
  std::mutex saveMutex_;
  std::condition_variable saveEnded_;
  // Saves are numbered from 1 on in the order in which they are asked for.
  std::uint64_t asked_ = 0;
  std::uint64_t ended_ = 0;    ///< all up to this one have been written or have failed
  std::uint64_t written_ = 0;  ///< all up to this one have been written
  bool isWriting_ = false;
  Preparation newest_;  ///< for the next save: what the last caller with a key has prepared
};

}  // namespace KBL
