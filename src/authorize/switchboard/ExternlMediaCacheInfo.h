#pragma once

#include <ExternlMediaTransfer/ExternlMediaPlatform.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace KBL {

/// The stored record of one signed-in user.
struct ExternlMediaCacheInfo {
  std::string thirdAccessToken;      ///< the platform's own access token
  std::string accessToken;           ///< the account server's access token
  std::string refreshToken;          ///< with which the account server renews `thirdAccessToken`
  std::int64_t expiresIn = 0;        ///< seconds, as last reported
  std::int64_t expiresTimeout = 0;   ///< end of the platform token, seconds since the epoch
  std::int32_t diskType = ema_none;  ///< the platform
  std::string diskName;              ///< the platform's name
  std::string userAccountUid;        ///< the user's stable id at the platform
  std::string userAccount;
  std::string userNickName;
  std::string userFirstName;
  std::string userLastName;
  std::string userAvatarLocal;  ///< path on this machine
  std::string userAvatarUrl;
  std::string videoCategories;  ///< titles, each followed by "|"
  std::string userUuid;         ///< the local key of the record
};

/// A user's record in a list. It never changes, so that all copies of the list share it; a user of whom
/// something new is learnt gets another one.
class CacheEntry {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): lists are made of records
  CacheEntry(ExternlMediaCacheInfo record = {})
      : record_(std::make_shared<const ExternlMediaCacheInfo>(std::move(record))) {}

  const ExternlMediaCacheInfo& operator*() const { return *record_; }
  const ExternlMediaCacheInfo* operator->() const { return record_.get(); }

 private:
  std::shared_ptr<const ExternlMediaCacheInfo> record_;
};

using CacheEntries = std::vector<CacheEntry>;

/// The record whose `userUuid` is exactly `uuid`, or null. Borrowed from the list.
[[nodiscard]] inline const ExternlMediaCacheInfo* findCacheInfo(const CacheEntries& list,
                                                                const std::string& uuid) {
  const auto found = std::find_if(list.begin(), list.end(),
                                  [&](const CacheEntry& entry) { return entry->userUuid == uuid; });
  return found == list.end() ? nullptr : &**found;
}

/// The same, but an empty `uuid` means the last record of the list.
[[nodiscard]] inline const ExternlMediaCacheInfo* findUserOrLast(const CacheEntries& list,
                                                                 const std::string& uuid) {
  if (list.empty()) return nullptr;
  return uuid.empty() ? &*list.back() : findCacheInfo(list, uuid);
}

}  // namespace KBL
