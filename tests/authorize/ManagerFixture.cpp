#include "authorize/ManagerFixture.h"

#include "authorize/CacheFile.h"
#include "boundary/ExternlMediaTransfer.h"
#include "boundary/records/Records.h"
#include "foundation/BsNet/NetKeys.h"
#include "foundation/BsNet/cipher.h"
#include "foundation/BsNet/createInfoObject.h"
#include "foundation/KblUtils/TimeUtil.h"

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

bool ManagerFixture::runUntil(const std::function<bool()>& condition, std::int64_t stepMs) {
  return time->advanceUntil(condition, stepMs);
}

void ManagerFixture::TearDown() {
  releaseManager();
  EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0 && time->waiters() == 0; }))
      << requestsAlive() << " requests and " << time->waiters() << " sleepers are left";
}

void ManagerFixture::signIn(const std::string& uuid) {
  auto entries = context().cacheEntries;
  auto user = makeUser(uuid, nowSeconds() + 3600);
  user.diskType = platform_;
  user.diskName = platformName(platform_);
  entries.push_back(user);
  AuthorizeTestAccess::setEntries(*manager, entries);
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
