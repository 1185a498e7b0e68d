#include "authorize/ManagerFixture.h"

#include "authorize/CacheFile.h"
#include "boundary/records/PlatformNames.h"
#include "boundary/records/Records.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include "support/ToldErrors.h"
#include "support/WaitUntil.h"
#include <BsNet/NetKeys.h>
#include <BsNet/cipher.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/TimeUtil.h>

#include <atomic>
#include <thread>

using namespace KBL;

ExternlMediaCacheInfo makeUser(const std::string& uuid, std::int64_t expiresTimeout) {
  ExternlMediaCacheInfo user;
  user.thirdAccessToken = "third-" + uuid;
  user.accessToken = "account-" + uuid;
  user.refreshToken = "refresh-" + uuid;
  user.expiresIn = 3600;
  user.expiresTimeout = expiresTimeout;
  user.diskType = ema_youtube;
  user.diskName = "ema_youtube";
  user.userAccountUid = "uid-" + uuid;
  user.userUuid = uuid;
  return user;
}

RefPtr<IBsInfoReader> makeInfo(int infoType, KeyValues values) {
  RefPtr<IBsInfoReader> info = adoptRef(createRecord(infoType));
  auto* const record = dynamic_cast<BsBaseInfoRW*>(info.get());
  for (const auto& [key, value] : values) record->setCharKeyConfig(key, value);
  return info;
}

ManagerFixture::ManagerFixture(int platform) : platform_(platform) {
  host.uuidOfRequest = [](IBsBaseRequest& request) {
    const auto* const own = dynamic_cast<BsExternlMediaAuthRequest*>(&request);
    return own == nullptr ? std::string() : own->userUuid();
  };
  setKeyStore(makeFileKeyStore(directory.file("keys")));
}

ManagerFixture::~ManagerFixture() {
  setKeyStore(nullptr);
}

void ManagerFixture::makeManager() {
  manager = dynamic_cast<BsExternlMediaAuthorize*>(getOrCreateExternlMediaAuthorize(platform_));
  ASSERT_NE(manager, nullptr);
  const auto pubInfo = adoptRef(createInfoObject(infoObjectPubInfo));
  auto* const record = queryInterface<IBsPubInfo>(pubInfo.get(), "IBsPubInfo");
  record->setCharKeyConfig(PubCharKey::appSecret, "app-secret");
  manager->setPubParam(record);
  manager->addAuthCallback(&host);
  manager->init(directory.file("cache").c_str(), 3300000);
  tag = context().logTag;
}

void ManagerFixture::releaseManager() {
  if (manager == nullptr) return;
  auto* const released = std::exchange(manager, nullptr);
  whileTimeRuns([&] { released->Release(); });
}

void ManagerFixture::whileTimeRuns(const std::function<void()>& operation) {
  std::atomic<bool> done{false};
  std::thread worker([&] {
    operation();
    done = true;
  });
  EXPECT_TRUE(runUntil([&] { return done.load(); }, 50));
  worker.join();
}

void ManagerFixture::expectToWaitATenthOfASecond(const std::function<void()>& operation) {
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 1 && time->waiters() == 1; }, 100))
      << "the held request and the refresher's timer alone";
  std::atomic<bool> timerHasGone{false};
  logger->doInside("waiting to stop...", [&] {
    EXPECT_TRUE(waitUntil([&] { return time->waiters() == 0; }));
    timerHasGone = true;
  });
  std::atomic<bool> done{false};
  std::thread worker([&] {
    operation();
    done = true;
  });
  EXPECT_TRUE(waitUntil([&] { return timerHasGone.load(); }));
  EXPECT_TRUE(time->waitForWaiters(1));
  time->advance(99);
  EXPECT_TRUE(time->waitForWaiters(1)) << "less than a tenth of a second";
  time->advance(1);
  EXPECT_TRUE(waitUntil([&] { return done.load(); }, std::chrono::seconds(5)))
      << "more than a tenth of a second";
  EXPECT_TRUE(runUntil([&] { return done.load(); }));
  worker.join();
}

bool ManagerFixture::runUntil(const std::function<bool()>& condition, std::int64_t stepMs) {
  return time->advanceUntil(condition, stepMs);
}

void ManagerFixture::TearDown() {
  releaseManager();
  EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0 && time->waiters() == 0; }))
      << requestsAlive() << " requests and " << time->waiters() << " sleepers are left";
  checkSeverities();
  for (const HostEvent& event : host.events(HostEvent::response)) {
    EXPECT_TRUE(tableHasError(event.code, event.text)) << event.code << " " << event.text;
  }
}

void ManagerFixture::checkSeverities() const {
  struct Row {
    const char* part;
    int severity;
  };
  constexpr Row rows[] = {
      {", addAuthCallback,", IBsLogger::severityInfo},
      {", removeAuthCallback,", IBsLogger::severityInfo},
      {", nullptr", IBsLogger::severityInfo},
      {", invalid args", IBsLogger::severityInfo},
      {", name: ", IBsLogger::severityInfo},
      {", user canceled", IBsLogger::severityInfo},
      {", login url: ", IBsLogger::severityInfo},
      {", cb url: ", IBsLogger::severityInfo},
      {", to cancelLogin", IBsLogger::severityInfo},
      {", session id: ", IBsLogger::severityInfo},
      {", save cloud disk cache, ", IBsLogger::severityInfo},
      {"access token:", IBsLogger::severityInfo},
      {"refresh token:", IBsLogger::severityInfo},
      {" , old:", IBsLogger::severityInfo},
      {", size:", IBsLogger::severityInfo},
      {", cache size: ", IBsLogger::severityInfo},
      {", verify access token", IBsLogger::severityInfo},
      {"waiting to stop...", IBsLogger::severityInfo},
      {", uuid is empty", IBsLogger::severityError},
      {", AccessTokenProxy not exist", IBsLogger::severityError},
      {" is not exist", IBsLogger::severityError},
      {", refresh token is empty", IBsLogger::severityError},
      {", wait to stop", IBsLogger::severityError},
      {", refreshAccessToken:", IBsLogger::severityError},
  };
  for (const LogLine& line : logger->lines()) {
    if (line.file.rfind("Auth", 0) != 0 && line.file.rfind("ExternlMediaAuthorize", 0) != 0) continue;
    for (const Row& row : rows) {
      if (line.text.find(row.part) == std::string::npos) continue;
      EXPECT_EQ(line.severity, row.severity) << line.text;
    }
  }
}

void ManagerFixture::signIn(const std::string& uuid) {
  auto entries = context().cacheEntries;
  auto user = makeUser(uuid, nowSeconds() + 3600);
  user.diskType = platform_;
  user.diskName = platformName(platform_);
  entries.emplace_back(user);
  AuthorizeTestAccess::setEntries(*manager, entries);
}

void ManagerFixture::armRefresh(const std::string& uuid) {
  signIn(uuid);
  const auto info = makeInfo(infoTypeRefreshToken);
  AuthorizeTestAccess::scheduleTokenRefresh(*manager, uuid, info.get(), false);
}

std::shared_ptr<AccessTokenProxy> ManagerFixture::proxy(const std::string& uuid) const {
  return AuthorizeTestAccess::tokenProxy(*manager, uuid);
}

void ManagerFixture::startHeldRefresh(const std::string& uuid) {
  armRefresh(uuid);
  network.hold("/token");
  ASSERT_TRUE(runUntil([&] { return !network.exchanges("/token").empty(); }, 60'000));
  ASSERT_TRUE(proxy(uuid)->refreshing());
  // However far the clock had to go, the login is good for an hour from here.
  auto entries = context().cacheEntries;
  for (CacheEntry& entry : entries) {
    ExternlMediaCacheInfo later = *entry;
    later.expiresTimeout = nowSeconds() + 3600;
    entry = std::move(later);
  }
  AuthorizeTestAccess::setEntries(*manager, entries);
}

void ManagerFixture::startHeldLogin() {
  network.hold("/credentials");
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
  ASSERT_TRUE(network.waitForExchanges("/credentials", 1));
}

AuthContext ManagerFixture::context() const {
  AuthContext copy;
  manager->copyAuthContext(copy);
  return copy;
}

ExternlMediaCacheInfo ManagerFixture::user(const std::string& uuid) const {
  const AuthContext copy = context();
  const auto* const found = findCacheInfo(copy.cacheEntries, uuid);
  return found == nullptr ? ExternlMediaCacheInfo{} : *found;
}

CacheEntries ManagerFixture::storedUsers() const {
  CacheEntries list;
  (void)loadCacheFile(cacheFile(), list);
  return list;
}

std::string ManagerFixture::cacheFile() const {
  return cacheFilePath(directory.file("cache"), platform_);
}

std::int64_t ManagerFixture::nowSeconds() const {
  return static_cast<std::int64_t>(TimeUtil::nowSinceEpoch() / 1000);
}

std::size_t ManagerFixture::requestsAlive() const {
  std::size_t made = 0;
  std::size_t gone = 0;
  for (const LogLine& line : logger->lines()) {
    if (line.text.rfind("create:", 0) == 0) ++made;
    if (line.text.rfind("release:", 0) == 0) ++gone;
  }
  return made - gone;
}
