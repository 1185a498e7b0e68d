// The object itself: settings, callbacks, flags and the dispatch of finished requests.

#include "authorize/CacheFile.h"
#include "authorize/ManagerFixture.h"
#include "boundary/records/Records.h"
#include "requests/AccountRequests.h"
#include "requests/ProfileRequests.h"
#include <BsNet/BsErrorInfo.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/Path.h>

using namespace KBL;

namespace {
class Manager : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  [[nodiscard]] int storedInterval(int wanted) {
    manager->init(directory.file("cache").c_str(), wanted);
    return context().refreshIntervalMs;
  }
};

/// References on a counted object.
int countOf(IDmBaseObj* object) {
  object->AddRef();
  return object->Release();
}

RefPtr<IBsPubInfo> makePubInfo() {
  const auto record = adoptRef(createInfoObject(infoObjectPubInfo));
  return shareRef(queryInterface<IBsPubInfo>(record.get(), "IBsPubInfo"));
}
}  // namespace

TEST_F(Manager, TagIsPlatformNameAndInstanceNumber) {
  EXPECT_EQ(tag.rfind("ema_youtube.", 0), 0U);
  EXPECT_EQ(manager->platform(), ema_youtube);
}

TEST(AuthContextRecord, StartsWithItsDefaults) {
  const AuthContext fresh;
  EXPECT_EQ(fresh.platform, ema_none);
  EXPECT_EQ(fresh.timeoutSeconds, 30);
  EXPECT_EQ(fresh.cacheDir, "");
  EXPECT_EQ(fresh.refreshIntervalMs, 3300000);
  EXPECT_FALSE(fresh.pubInfo);
  EXPECT_FALSE(fresh.serverProxy);
  EXPECT_TRUE(fresh.authCallbacks.empty());
  EXPECT_TRUE(fresh.sessions.empty());
  EXPECT_TRUE(fresh.cacheEntries.empty());
}

TEST_F(Manager, ContextStartsWithTheDefaults) {
  const AuthContext now = context();
  EXPECT_EQ(now.platform, ema_youtube);
  EXPECT_EQ(now.timeoutSeconds, 30);
  EXPECT_TRUE(now.sessions.empty());
  EXPECT_TRUE(now.cacheEntries.empty());
}

TEST_F(Manager, IntervalIsClamped) {
  EXPECT_EQ(storedInterval(1000), 900000);
  EXPECT_EQ(storedInterval(-5), 900000);
  EXPECT_EQ(storedInterval(900000), 900000);
  EXPECT_EQ(storedInterval(900001), 900001);
  EXPECT_EQ(storedInterval(1800000), 1800000);
  EXPECT_EQ(storedInterval(3299999), 3299999);
  EXPECT_EQ(storedInterval(3300000), 3300000);
  EXPECT_EQ(storedInterval(4000000), 3300000);
}

TEST_F(Manager, InitLogsItsSteps) {
  logger->clear();
  manager->init(directory.file("cache").c_str(), 1800000);
  EXPECT_TRUE(logger->hasLine(tag + ", externlmediaauthorize 20220829"));
  EXPECT_TRUE(logger->hasLine(tag + ", load cacheFAILED"));
  EXPECT_TRUE(logger->hasLine(tag + ", refresh access token interval 1800000 ms"));
  for (const LogLine& line : logger->linesWith(tag)) {
    EXPECT_EQ(line.severity, IBsLogger::severityInfo);
    EXPECT_EQ(line.function, "KBL::BsExternlMediaAuthorize::init");
    EXPECT_THAT(line.file, testing::AnyOf("ExternlMediaAuthorize.cpp", "AuthorizeCache.cpp"));
    EXPECT_GT(line.line, 0);
  }
}

TEST_F(Manager, InitWithoutAPathFailsAndLeavesTheCacheEmpty) {
  EXPECT_EQ(manager->init(nullptr, 1000), resultFailed);
  EXPECT_TRUE(context().cacheEntries.empty());
}

TEST_F(Manager, InitStoresTheAbsoluteFolderWithForwardSlashes) {
  manager->init((directory.path().string() + "//a/./b/../cache//").c_str(), 0);
  EXPECT_EQ(context().cacheDir, PathUtil::normalizeSlash(Path(directory.file("a/cache"))).string());
}

TEST_F(Manager, InitMakesAMissingFolder) {
  manager->init(directory.file("new/folder").c_str(), 0);
  EXPECT_TRUE(std::filesystem::is_directory(directory.path() / "new" / "folder"));
}

TEST_F(Manager, InitReadsTheUsersAndCleansThem) {
  const CacheEntries stored = {makeUser("a", nowSeconds() + 10), makeUser("", 0),
                               makeUser("b", nowSeconds() + 10), makeUser("a", nowSeconds() + 20)};
  ASSERT_TRUE(saveCacheFile(cacheFile(), stored));
  manager->init(directory.file("cache").c_str(), 0);
  const CacheEntries list = context().cacheEntries;
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0]->userUuid, "b");
  EXPECT_EQ(list[1]->userUuid, "a");
  EXPECT_EQ(list[1]->expiresTimeout, nowSeconds() + 20);
  EXPECT_TRUE(logger->hasLine(tag + ", load cacheOK"));
}

TEST_F(Manager, InitKeepsAnExpiredUserAndSaysSo) {
  ASSERT_TRUE(saveCacheFile(cacheFile(), {makeUser("old", nowSeconds() - 1), makeUser("new", nowSeconds())}));
  manager->init(directory.file("cache").c_str(), 0);
  EXPECT_EQ(context().cacheEntries.size(), 2U);
  const auto lines = logger->linesWith(" cache info expired:");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, tag + " cache info expired:old,expireTime:" + std::to_string(nowSeconds() - 1));
  EXPECT_EQ(lines[0].severity, IBsLogger::severityInfo);
}

TEST_F(Manager, InitForgetsTheUsersOfTheFormerFolder) {
  signIn("a");
  manager->init(directory.file("elsewhere").c_str(), 0);
  EXPECT_TRUE(context().cacheEntries.empty());
}

TEST_F(Manager, PubParamAndProxyAreKeptByReferenceAndTheFormerOnesGivenBack) {
  EXPECT_EQ(manager->setPubParam(nullptr), resultFailed);
  EXPECT_EQ(manager->setServerProxy(nullptr), resultFailed);
  const auto first = makePubInfo();
  const auto second = makePubInfo();
  EXPECT_EQ(manager->setPubParam(first.get()), resultOk);
  EXPECT_EQ(countOf(first.get()), 2);
  EXPECT_EQ(context().pubInfo.get(), first.get());
  EXPECT_EQ(manager->setPubParam(second.get()), resultOk);
  EXPECT_EQ(countOf(first.get()), 1);
  EXPECT_EQ(countOf(second.get()), 2);
  EXPECT_EQ(manager->setPubParam(second.get()), resultOk);
  EXPECT_EQ(countOf(second.get()), 2);

  const auto record = adoptRef(createInfoObject(infoObjectServerProxy));
  auto* const proxy = queryInterface<IBsServerProxyInfo>(record.get(), "IBsServerProxyInfo");
  EXPECT_EQ(manager->setServerProxy(proxy), resultOk);
  EXPECT_EQ(countOf(record.get()), 2);
  releaseManager();
  EXPECT_EQ(countOf(record.get()), 1);
  EXPECT_EQ(countOf(second.get()), 1);
}

TEST_F(Manager, ACallbackStandsInTheListOnce) {
  EXPECT_EQ(manager->addAuthCallback(&host), resultOk);
  EXPECT_EQ(context().authCallbacks.size(), 1U);
  EXPECT_EQ(manager->removeAuthCallback(&host), resultOk);
  EXPECT_TRUE(context().authCallbacks.empty());
  EXPECT_EQ(manager->removeAuthCallback(&host), resultOk);
  EXPECT_EQ(manager->addAuthCallback(nullptr), resultFailed);
  EXPECT_EQ(manager->removeAuthCallback(nullptr), resultFailed);
}

TEST_F(Manager, AddingAndRemovingACallbackIsLoggedWithItsAddress) {
  HostRecorder other;
  std::ostringstream address;
  address << static_cast<const void*>(static_cast<IExternlMediaAuthCallback*>(&other));
  manager->addAuthCallback(&other);
  manager->removeAuthCallback(&other);
  EXPECT_TRUE(logger->hasLine(tag + ", addAuthCallback," + address.str()));
  EXPECT_TRUE(logger->hasLine(tag + ", removeAuthCallback," + address.str()));
}

TEST_F(Manager, CallbacksAreCalledInTheOrderOfRegistration) {
  HostRecorder second;
  manager->addAuthCallback(&second);
  std::string order;
  host.inside = [&](const HostEvent&) { order += "1"; };
  second.inside = [&](const HostEvent&) { order += "2"; };
  const auto request = makeRef<BsExternlMediaAuthRequest>();
  const auto info = makeInfo(infoTypeLogin);
  EXPECT_EQ(manager->cbRequestNotify("u"), 0);
  manager->cbQueryThirdLoginURL("u", "http://open");
  manager->cbQueryThirdLoginCallbackURL("u", "http://done");
  manager->cbRequestForward(request.get(), info.get(), request->errorInfo().get());
  manager->cbRequestFailed(request.get(), info.get(), request->errorInfo().get());
  EXPECT_EQ(order, "1212121212");
  const auto events = host.events();
  ASSERT_EQ(events.size(), 5U);
  EXPECT_EQ(events[0].kind, HostEvent::requestFinished);
  EXPECT_EQ(events[0].uuid, "u");
  EXPECT_EQ(events[1].kind, HostEvent::loginUrl);
  EXPECT_EQ(events[1].text, "http://open");
  EXPECT_EQ(events[2].kind, HostEvent::callbackUrl);
  EXPECT_EQ(events[2].text, "http://done");
  EXPECT_EQ(events[3].kind, HostEvent::response);
  EXPECT_EQ(events[4].kind, HostEvent::response);
  EXPECT_TRUE(logger->hasLine(tag + ", uuid: u, login url: http://open"));
  EXPECT_TRUE(logger->hasLine(tag + ", uuid: u, cb url: http://done"));
  manager->removeAuthCallback(&second);
}

TEST_F(Manager, ResponsesOfOtherTypesAreRefused) {
  const auto request = makeRef<BsExternlMediaAuthRequest>();
  const auto error = request->errorInfo();
  for (const int type : {infoTypeUser, infoTypeMixed, infoTypeUpload}) {
    const auto info = makeInfo(type);
    EXPECT_EQ(manager->queryResponse(request.get(), info.get(), error.get()), resultFailed);
  }
  EXPECT_TRUE(host.events().empty());
}

TEST_F(Manager, ResponsesOfTheFourFlowsAreTaken) {
  const auto request = makeRef<BsExternlMediaAuthRequest>();
  const auto error = request->errorInfo();
  for (const int type : {infoTypeLogin, infoTypeRefreshToken, infoTypeVerifyAccessToken, infoTypeConsume}) {
    const auto info = makeInfo(type);
    EXPECT_EQ(manager->queryResponse(request.get(), info.get(), error.get()), resultOk);
  }
  EXPECT_TRUE(host.events().empty());  // a base request belongs to none of the flows
}

TEST_F(Manager, AnswersOfOtherRequestsAreNotThoseOfARenewal) {
  signIn("u");
  const auto request = makeRef<BsExternlMediaAuthYoutubeUserInfoRequest>();
  initAuthRequest(context(), "u", *request);
  request->errorInfo()->setError(7, "no");
  for (const int type : {infoTypeRefreshToken, infoTypeVerifyAccessToken}) {
    EXPECT_EQ(manager->queryResponse(request.get(), makeInfo(type).get(), request->errorInfo().get()),
              resultOk);
  }
  EXPECT_TRUE(host.events().empty());
  EXPECT_EQ(proxy("u"), nullptr);
}

TEST_F(Manager, TheAnswersOfARenewalAreLogged) {
  const auto request = makeRef<BsExternlMediaAuthUserSupportTokenRequest>();
  initAuthRequest(context(), "u", *request);
  const std::pair<int, const char*> rows[] = {{infoTypeRefreshToken, "processRefreshTokenRequest"},
                                              {infoTypeVerifyAccessToken, "processVerifyAccessToken"}};
  for (const auto& [type, function] : rows) {
    manager->queryResponse(request.get(), makeInfo(type).get(), request->errorInfo().get());
    const auto lines = logger->linesWith(
        tag + ", name: ExternlMediaAuthUserSupportToken, infoType: " + std::to_string(type));
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].severity, IBsLogger::severityInfo);
    EXPECT_EQ(lines[0].function, std::string("KBL::BsExternlMediaAuthorize::") + function);
  }
}

TEST_F(Manager, ACancellationIsLoggedByTheFlowThatHearsIt) {
  const RefPtr<BsExternlMediaAuthRequest> request = makeRef<BsExternlMediaAuthUserSupportTokenRequest>();
  initAuthRequest(context(), "u", *request);
  request->errorInfo()->setError(-10007, "");
  struct Row {
    int type;
    const char* function;
    const char* file;
  };
  const Row rows[] = {{infoTypeLogin, "processLoginAuthRequest", "AuthorizeLogin.cpp"},
                      {infoTypeRefreshToken, "processRefreshTokenRequest", "AuthorizeTokens.cpp"},
                      {infoTypeVerifyAccessToken, "processVerifyAccessToken", "AuthorizeTokens.cpp"}};
  std::size_t count = 0;
  for (const Row& row : rows) {
    manager->queryResponse(request.get(), makeInfo(row.type).get(), request->errorInfo().get());
    const auto lines = logger->linesWith(", user canceled");
    ASSERT_EQ(lines.size(), ++count);
    const LogLine& line = lines.back();
    EXPECT_EQ(line.text, tag + ", user canceled");
    EXPECT_EQ(line.severity, IBsLogger::severityInfo);
    EXPECT_EQ(line.function, std::string("KBL::BsExternlMediaAuthorize::") + row.function);
    EXPECT_EQ(line.file, row.file);
  }
}

TEST_F(Manager, AWorkersTokenIsLoggedLikeTheHosts) {
  signIn("u");
  logger->clear();
  (void)manager->accessToken("u");
  const auto lines = logger->linesWith(tag + ", uuid: u, cache size: 1");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthorize::getAccessToken");
}

TEST_F(Manager, ResponsesWithANullArgumentAreRefused) {
  const auto request = makeRef<BsExternlMediaAuthRequest>();
  const auto info = makeInfo(infoTypeLogin);
  const auto error = request->errorInfo();
  EXPECT_EQ(manager->queryResponse(nullptr, info.get(), error.get()), resultFailed);
  EXPECT_EQ(manager->queryResponse(request.get(), nullptr, error.get()), resultFailed);
  EXPECT_EQ(manager->queryResponse(request.get(), info.get(), nullptr), resultFailed);
  EXPECT_EQ(logger->linesWith(tag + ", invalid args").size(), 3U);
}

TEST_F(Manager, FlagsAreWrittenToExistingSessionsOnly) {
  manager->setTimedOut("u", true);
  manager->setFinished("u", true);
  EXPECT_EQ(manager->isTimedOut("u"), 0);
  EXPECT_EQ(manager->isFinished("u"), 0);
  EXPECT_EQ(manager->isCanceled("u"), 0);
  EXPECT_TRUE(context().sessions.empty());

  AuthorizeTestAccess::putSession(*manager, "u", {});
  manager->setTimedOut("u", true);
  manager->setFinished("u", true);
  EXPECT_EQ(manager->isTimedOut("u"), 1);
  EXPECT_EQ(manager->isFinished("u"), 1);
  EXPECT_EQ(manager->isCanceled("u"), 0);
  EXPECT_EQ(manager->isTimedOut("other"), 0);
  manager->setTimedOut("u", false);
  EXPECT_EQ(manager->isTimedOut("u"), 0);
}

TEST_F(Manager, CopyAuthContextCopiesTheWhole) {
  signIn("a");
  AuthContext copy;
  EXPECT_EQ(manager->copyAuthContext(copy), 1);
  EXPECT_EQ(copy.logTag, tag);
  EXPECT_EQ(copy.cacheEntries.size(), 1U);
  EXPECT_EQ(copy.authCallbacks.size(), 1U);
}

TEST_F(Manager, AnswersTheCastByNameWithItsFiveInterfaces) {
  IBsExternlMediaAuthorize* const object = manager;
  const auto expect = [&](const char* name, void* wanted) {
    EXPECT_EQ(object->QueryInterfaceByName(name), wanted) << name;
  };
  expect("IBsExternlMediaAuthorize", static_cast<IBsExternlMediaAuthorize*>(manager));
  expect("IExternlMediaRefreshAccessTokenCallback",
         static_cast<IExternlMediaRefreshAccessTokenCallback*>(manager));
  expect("IExternlMediaUploadFile", static_cast<IExternlMediaUploadFile*>(manager));
  expect("IBsRequstCallback", static_cast<IBsRequstCallback*>(manager));
  expect("IDmBaseObj", static_cast<IDmBaseObj*>(manager));
  expect("ibsexternlmediaauthorize", nullptr);
  expect("", nullptr);
  expect(nullptr, nullptr);
}
