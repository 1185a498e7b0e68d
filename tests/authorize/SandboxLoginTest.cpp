// Logins, refreshes and logouts over real connections, against the stand-in servers.

#include "authorize/ManagerFixture.h"
#include "boundary/ExternlMediaTransfer.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/BsCloudConfig/BsCloudConfig.h"
#include "foundation/BsNet/NetKeys.h"
#include "foundation/BsNet/NetworkClients.h"
#include "foundation/BsNet/createInfoObject.h"
#include "foundation/object/CastByName.h"
#include "sandbox/Sandbox.h"
#include "support/WaitUntil.h"

using namespace KBL;

namespace {
class SandboxLogin : public ManagerFixture {
 protected:
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
}  // namespace

TEST_F(SandboxLogin, SignsInAfterTwoPendingPolls) {
  sandbox.setPollsBeforeConsent(2);
  signInAtYoutube();
  EXPECT_EQ(sandbox.requestCount(sandbox::Route::code), 3U);
  const auto record = context().cacheEntries.at(0);
  const auto state = sandbox.token(record.thirdAccessToken);
  ASSERT_TRUE(state.has_value());
  EXPECT_EQ(state->openId, record.userAccountUid);
  EXPECT_FALSE(record.videoCategories.empty());
  ASSERT_EQ(host.events(HostEvent::response).size(), 1U);
  EXPECT_EQ(host.events(HostEvent::response)[0].code, 0);
}

TEST_F(SandboxLogin, VerifiesInASecondLifeOfTheManager) {
  signInAtYoutube();
  const auto before = context().cacheEntries.at(0);
  releaseManager();
  makeManager();
  useSecret(*manager, "sandbox-app-secret");
  ASSERT_EQ(context().cacheEntries.size(), 1U);
  EXPECT_EQ(manager->toVerifyAccessToken(""), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 2));
  EXPECT_EQ(host.events(HostEvent::response)[1].code, 0);
  EXPECT_NE(context().cacheEntries.at(0).thirdAccessToken, before.thirdAccessToken);
  EXPECT_TRUE(sandbox.token(context().cacheEntries.at(0).thirdAccessToken).has_value());
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
  EXPECT_EQ(context().cacheEntries.at(0).refreshToken, "");
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
