#pragma once

#include "authorize/AuthCallbacks.h"
#include "authorize/switchboard/AuthContext.h"
#include "foundation/object/Snapshot.h"
#include <KblUtils/Result.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace KBL {

/// What the host has set. Its records are counted once for all copies of the settings: a copy is made under a
/// lock, where no host's `AddRef` may run.
struct ManagerSettings {
  std::int32_t refreshIntervalMs = AuthContext().refreshIntervalMs;
  std::shared_ptr<IBsPubInfo> pubInfo;
  std::shared_ptr<IBsServerProxyInfo> serverProxy;
};

/// One reference on a host's record, which all copies share.
template <class Record>
[[nodiscard]] std::shared_ptr<Record> countOnce(Record* record) {
  return {shareRef(record).leak(), [](Record* counted) { counted->Release(); }};
}

/// The signed-in users, and their file.
struct ManagerUsers {
  std::string cacheDir;  ///< absolute, forward slashes; empty: never initialised, no file to write to
  CacheEntries entries;
  /// The cache file was out of reach at `init` and since: it may hold users, and is not written before it has
  /// been read.
  bool cacheUnread = false;
  std::set<std::string> signedOut;  ///< by uuid; whom a logout of this manager removed

  /// True for a user who was signed out and has no record: what is learnt of such a user belongs to nobody.
  [[nodiscard]] bool hasSignedOut(const std::string& uuid) const {
    return signedOut.contains(uuid) && findCacheInfo(entries, uuid) == nullptr;
  }
};

/// The flags of logins, by user uuid. No operation makes an entry: without one, writing does nothing and
/// reading gives false. Any thread.
class SessionBook {
 public:
  using Flag = bool SessionFlags::*;
  using Entries = std::map<std::string, SessionFlags>;

  void set(const std::string& uuid, Flag flag, bool value);
  [[nodiscard]] bool get(const std::string& uuid, Flag flag) const;

  Snapshot<Entries> entries;
};

/// What the parts of a manager share. Each member is published apart, so that a flow reads one that stands
/// and waits for nobody, and a change of one copies no other. Any thread; goes with the manager's core.
struct ManagerState {
  ManagerState(std::int32_t platform, int instanceNumber);

  const std::int32_t platform;
  const std::string logTag;  ///< platform name, ".", instance number
  Snapshot<ManagerSettings> settings;
  AuthCallbacks callbacks;
  SessionBook sessions;
  Snapshot<ManagerUsers> users;

  /// The whole, as requests know it.
  [[nodiscard]] AuthContext context() const;
  /// What a request is set up with: no users, flags and callbacks.
  [[nodiscard]] AuthContext requestContext() const;

  /// From the host's last Release on the manager is dead.
  [[nodiscard]] bool alive() const { return !aliveWitness_.expired(); }
  [[nodiscard]] const std::shared_ptr<char>& aliveToken() const { return aliveToken_; }
  void endLife() { aliveToken_.reset(); }

  [[nodiscard]] bool hasSignedOut(const std::string& uuid) const { return users.read()->hasSignedOut(uuid); }
  /// Writes the line about an answer that came for a user who has signed out, once an answer.
  void tellLateAnswer(const std::string& uuid) const;
  /// Tells the host of a failure that was found before any network use, in the shape of a server's answer.
  void reportAuthError(const std::string& uuid, int infoType, int code, const std::string& message);

 private:
  std::shared_ptr<char> aliveToken_;  // written by the constructor and the end alone
  const std::weak_ptr<char> aliveWitness_;
};

/// What an operation of the host's answers that an exception ended: memory is short. Called in a handler.
[[nodiscard]] _Result resultOfException();

}  // namespace KBL
