// Logins, refreshes and logouts over real connections, against the stand-in servers.

#include "authorize/ManagerFixture.h"
#include "boundary/records/PlatformNames.h"
#include "sandbox/Sandbox.h"
#include "support/WaitUntil.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetKeys.h>
#include <BsNet/NetworkClients.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/CastByName.h>

#include <filesystem>
#include <vector>

using namespace KBL;

namespace {
class SandboxLogin : public ManagerFixture {
 protected:
  explicit SandboxLogin(int platform = ema_youtube) : ManagerFixture(platform) {}

  void SetUp() override {
    setNetworkClientFactory({});
    setCloudConfig(sandbox.cloudConfig());
    makeManager();
    useSecret(*manager, "sandbox-app-secret");
  }

  static void useSecret(IBsExternlMediaAuthorize& target, const char* secret) {
    const auto record = adoptRef(createInfoObject(infoObjectPubInfo));
    auto* const pubInfo = queryInterface<IBsPubInfo>(record.get(), "IBsPubInfo");
    pubInfo->setCharKeyConfig(PubCharKey::appSecret, secret);
    target.setPubParam(pubInfo);
  }
  static void start(IBsExternlMediaAuthorize& target, const char* platformId) {
    const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, platformId}});
    ASSERT_EQ(target.toExternlMediaAuth(info.get()), resultOk);
  }
  void signInAtYoutube() {
    start(*manager, "0");
    ASSERT_TRUE(runUntil([&] { return !host.events(HostEvent::callbackUrl).empty(); }));
  }

  sandbox::Sandbox sandbox;
};

struct OpenIdPlatform {
  ExternlMediaPlatform platform;
  const char* accountServerNumber;
  const char* cacheFile;
  const char* profileRequest;
  std::vector<std::string> scopes;
};

void PrintTo(const OpenIdPlatform& test, std::ostream* out) {
  *out << test.cacheFile;
}

/// The platforms that know their users by an open id.
class OpenIdLogin : public SandboxLogin, public testing::WithParamInterface<OpenIdPlatform> {
 protected:
  OpenIdLogin() : SandboxLogin(GetParam().platform) {}

  void signInHere() {
    start(*manager, GetParam().accountServerNumber);
    ASSERT_TRUE(runUntil([&] { return !host.events(HostEvent::callbackUrl).empty(); }));
  }
};

const OpenIdPlatform openIdPlatforms[] = {
    {ema_tiktok,
     "2",
     "cache/ema_tiktok_cache.db",
     "ExternlMediaAuthTiktokUserInfo",
     {"user.info.basic", "video.upload"}},
    {ema_douyin,
     "3",
     "cache/ema_douyin_cache.db",
     "ExternlMediaAuthDouyinUserInfo",
     {"user_info", "renew_refresh_token"}},
};
INSTANTIATE_TEST_SUITE_P(Platforms, OpenIdLogin, testing::ValuesIn(openIdPlatforms),
                         [](const auto& test) { return std::string(platformName(test.param.platform)); });
}  // namespace

TEST_P(OpenIdLogin, StoresTheUserUnderTheOpenIdAndAsksForNoCategories) {
  sandbox.setPollsBeforeConsent(2);
  signInHere();
  const auto record = *context().cacheEntries.at(0);
  const auto person = sandbox.users().front();
  EXPECT_EQ(record.diskType, GetParam().platform);
  EXPECT_EQ(record.diskName, platformName(GetParam().platform));
  EXPECT_EQ(record.userAccountUid, person.openId);
  EXPECT_EQ(record.userNickName, person.name);
  EXPECT_EQ(record.videoCategories, "");
  const auto token = sandbox.token(record.thirdAccessToken);
  ASSERT_TRUE(token.has_value());
  EXPECT_EQ(token->openId, person.openId);
  EXPECT_EQ(sandbox.loginSessions().at(0).scopes, GetParam().scopes);
  EXPECT_EQ(sandbox.requestCount(sandbox::Route::code), 3U);
  EXPECT_EQ(sandbox.requestCount(sandbox::Route::youtubeCategories), 0U);
  const auto responses = host.events(HostEvent::response);
  ASSERT_EQ(responses.size(), 1U);
  EXPECT_EQ(responses[0].code, 0);
  EXPECT_EQ(responses[0].requestName, GetParam().profileRequest);
}

TEST_P(OpenIdLogin, ASecondLifeOfTheManagerFindsAndVerifiesTheUser) {
  signInHere();
  const auto before = *context().cacheEntries.at(0);
  EXPECT_TRUE(std::filesystem::exists(directory.file(GetParam().cacheFile)));
  releaseManager();
  makeManager();
  useSecret(*manager, "sandbox-app-secret");
  ASSERT_EQ(context().cacheEntries.size(), 1U);
  EXPECT_EQ(context().cacheEntries[0]->userUuid, before.userUuid);
  EXPECT_EQ(context().cacheEntries[0]->userAccountUid, before.userAccountUid);
  EXPECT_EQ(context().cacheEntries[0]->userNickName, before.userNickName);
  EXPECT_EQ(manager->toVerifyAccessToken(""), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 2));
  EXPECT_EQ(host.events(HostEvent::response)[1].code, 0);
  EXPECT_NE(context().cacheEntries.at(0)->thirdAccessToken, before.thirdAccessToken);
  EXPECT_EQ(context().cacheEntries.at(0)->userAccountUid, before.userAccountUid);
}

TEST_P(OpenIdLogin, ALogoutEmptiesTheFile) {
  signInHere();
  ASSERT_EQ(storedUsers().size(), 1U);
  EXPECT_EQ(manager->logout(""), resultOk);
  EXPECT_TRUE(context().cacheEntries.empty());
  EXPECT_TRUE(storedUsers().empty());
}

TEST_P(OpenIdLogin, AProfileThatFailsIsReportedInPlaceOfTheLogin) {
  const auto route =
      GetParam().platform == ema_tiktok ? sandbox::Route::tiktokUserInfo : sandbox::Route::douyinUserInfo;
  const auto fault = sandbox.orderFault(route, sandbox::Fault::status(503, "later"));
  start(*manager, GetParam().accountServerNumber);
  ASSERT_TRUE(runUntil([&] { return !host.events(HostEvent::response).empty(); }));
  EXPECT_EQ(host.events(HostEvent::response)[0].code, 503);
  EXPECT_EQ(sandbox.faultsDelivered(fault), 1U);
  manager->cancelLogin();
}

TEST_F(SandboxLogin, SignsInAfterTwoPendingPolls) {
  sandbox.setPollsBeforeConsent(2);
  signInAtYoutube();
  EXPECT_EQ(sandbox.requestCount(sandbox::Route::code), 3U);
  const auto record = *context().cacheEntries.at(0);
  const auto state = sandbox.token(record.thirdAccessToken);
  ASSERT_TRUE(state.has_value());
  EXPECT_EQ(state->openId, record.userAccountUid);
  EXPECT_FALSE(record.videoCategories.empty());
  ASSERT_EQ(host.events(HostEvent::response).size(), 1U);
  EXPECT_EQ(host.events(HostEvent::response)[0].code, 0);
}

TEST_F(SandboxLogin, VerifiesInASecondLifeOfTheManager) {
  signInAtYoutube();
  const auto before = *context().cacheEntries.at(0);
  releaseManager();
  makeManager();
  useSecret(*manager, "sandbox-app-secret");
  ASSERT_EQ(context().cacheEntries.size(), 1U);
  EXPECT_EQ(manager->toVerifyAccessToken(""), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 2));
  EXPECT_EQ(host.events(HostEvent::response)[1].code, 0);
  EXPECT_NE(context().cacheEntries.at(0)->thirdAccessToken, before.thirdAccessToken);
  EXPECT_TRUE(sandbox.token(context().cacheEntries.at(0)->thirdAccessToken).has_value());
}

TEST_F(SandboxLogin, AWrongSecretReachesTheHostOnce) {
  useSecret(*manager, "wrong");
  start(*manager, "0");
  ASSERT_TRUE(host.waitFor(HostEvent::response, 1));
  manager->cancelLogin();
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(host.events().size(), 1U);
  EXPECT_NE(host.events()[0].code, 0);
  EXPECT_EQ(sandbox.requestCount(sandbox::Route::session), 0U);
}

TEST_F(SandboxLogin, ARefreshTokenThatWasRevokedIsReported) {
  signInAtYoutube();
  sandbox.revokeTokens();
  EXPECT_EQ(manager->toVerifyAccessToken(""), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 2));
  EXPECT_NE(host.events(HostEvent::response)[1].code, 0);
  EXPECT_EQ(host.events(HostEvent::response)[1].infoType, infoTypeVerifyAccessToken);
}

TEST_F(SandboxLogin, ADeadServerIsReported) {
  sandbox.setListening(false);
  start(*manager, "0");
  ASSERT_TRUE(host.waitFor(HostEvent::response, 1));
  EXPECT_GT(host.events()[0].code, 200000);
  manager->cancelLogin();
}

TEST_F(SandboxLogin, OneFailedPollEndsTheLogin) {
  const auto fault = sandbox.orderFault(sandbox::Route::code, sandbox::Fault::status(500, "broken"));
  start(*manager, "0");
  ASSERT_TRUE(runUntil([&] { return !host.events(HostEvent::response).empty(); }));
  EXPECT_EQ(host.events(HostEvent::response)[0].code, 500);
  manager->cancelLogin();
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(sandbox.requestCount(sandbox::Route::code), 1U);
  EXPECT_EQ(sandbox.faultsDelivered(fault), 1U);
}

TEST_F(SandboxLogin, WronglyTypedMembersStoreNothingWrong) {
  const auto fault =
      sandbox.orderFault(sandbox::Route::code, sandbox::Fault::replaceMember("data.access_token", "[1]"));
  start(*manager, "0");
  ASSERT_TRUE(runUntil([&] { return sandbox.faultsDelivered(fault) == 1; }));
  ASSERT_TRUE(runUntil([&] { return !host.events(HostEvent::callbackUrl).empty(); }));
  EXPECT_EQ(context().cacheEntries.at(0)->refreshToken, "");
}

TEST_F(SandboxLogin, TwoManagersSignInAtOnce) {
  HostRecorder tiktokHost;
  auto* const tiktok = getOrCreateExternlMediaAuthorize(ema_tiktok);
  tiktok->init(directory.file("cache").c_str(), 0);
  useSecret(*tiktok, "sandbox-app-secret");
  tiktok->addAuthCallback(&tiktokHost);
  sandbox.setPollsBeforeConsent(1);
  start(*manager, "0");
  start(*tiktok, "2");
  ASSERT_TRUE(runUntil([&] {
    return !host.events(HostEvent::callbackUrl).empty() && !tiktokHost.events(HostEvent::callbackUrl).empty();
  }));
  ASSERT_EQ(host.events(HostEvent::response).size(), 1U);
  ASSERT_EQ(tiktokHost.events(HostEvent::response).size(), 1U);
  EXPECT_EQ(host.events(HostEvent::response)[0].requestName, "ExternlMediaAuthYoutubeUserInfo");
  EXPECT_EQ(tiktokHost.events(HostEvent::response)[0].requestName, "ExternlMediaAuthTiktokUserInfo");
  EXPECT_TRUE(std::filesystem::exists(directory.file("cache/ema_youtube_cache.db")));
  EXPECT_TRUE(std::filesystem::exists(directory.file("cache/ema_tiktok_cache.db")));
  bool sawTiktokScopes = false;
  for (const auto& session : sandbox.loginSessions()) {
    if (session.platform != sandbox::Platform::tiktok) continue;
    sawTiktokScopes = session.scopes == std::vector<std::string>{"user.info.basic", "video.upload"};
  }
  EXPECT_TRUE(sawTiktokScopes);
  whileTimeRuns([&] { tiktok->Release(); });
}

TEST_F(SandboxLogin, ALoginThatIsCanceledLeavesNothingBehind) {
  sandbox.setConsent(sandbox::Consent::ask);
  start(*manager, "0");
  ASSERT_TRUE(host.waitFor(HostEvent::loginUrl, 1));
  ASSERT_TRUE(runUntil([&] { return sandbox.requestCount(sandbox::Route::code) >= 2; }));
  manager->cancelLogin();
  EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(host.events().size(), 1U);
}
