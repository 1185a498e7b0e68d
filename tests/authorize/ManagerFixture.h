#pragma once

#include "authorize/AuthorizeTestAccess.h"
#include "authorize/SignInNetwork.h"
#include "support/HostRecorder.h"
#include "support/ManualTimeSource.h"
#include "support/RecordingLogger.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

using KeyValues = std::initializer_list<std::pair<const char*, const char*>>;

/// A record of one user with tokens that are good for an hour.
[[nodiscard]] KBL::ExternlMediaCacheInfo makeUser(const std::string& uuid, std::int64_t expiresTimeout);
/// A record of a type of 400 to 406 with these texts.
[[nodiscard]] KBL::RefPtr<KBL::IBsInfoReader> makeInfo(int infoType, KeyValues values = {});

/// A manager on a fake network, with a clock that stands still and a cache folder of its own. At the end the
/// manager is released and every request that was made must have gone.
class ManagerFixture : public testing::Test {
 protected:
  explicit ManagerFixture(int platform = KBL::ema_youtube);
  ~ManagerFixture() override;

  /// Lets the clock run until nothing sleeps and no request lives; ends the manager first.
  void TearDown() override;

  /// Makes the manager with the host's settings; `init` on the fixture's folder.
  void makeManager();
  void releaseManager();
  /// Runs an operation that may sleep while the clock runs on.
  void whileTimeRuns(const std::function<void()>& operation);
  /// Runs an operation that waits for a refresh under way; it must take a tenth of a second to the
  /// millisecond.
  void expectToWaitATenthOfASecond(const std::function<void()>& operation);
  [[nodiscard]] bool runUntil(const std::function<bool()>& condition, std::int64_t stepMs = 500);

  void signIn(const std::string& uuid);
  /// A signed-in user whose refresh comes in two minutes.
  void armRefresh(const std::string& uuid);
  /// The same, with the refresh under way: its token request waits for its answer.
  void startHeldRefresh(const std::string& uuid);
  /// A login that waits for the account server.
  void startHeldLogin();
  /// The user's refresher, or null.
  [[nodiscard]] std::shared_ptr<KBL::AccessTokenProxy> proxy(const std::string& uuid) const;
  [[nodiscard]] KBL::AuthContext context() const;
  [[nodiscard]] KBL::ExternlMediaCacheInfo user(const std::string& uuid) const;
  /// The records that the file holds.
  [[nodiscard]] KBL::CacheEntries storedUsers() const;
  [[nodiscard]] std::string cacheFile() const;
  [[nodiscard]] std::int64_t nowSeconds() const;
  [[nodiscard]] std::size_t requestsAlive() const;

  /// The manager's lines whose severity is told.
  void checkSeverities() const;

  const int platform_;
  ScopedRecordingLogger logger;
  ScopedManualTime time;
  TemporaryDirectory directory;
  SignInNetwork network;
  HostRecorder host;
  KBL::BsExternlMediaAuthorize* manager = nullptr;
  std::string tag;
};
