// Requests with the real network client against the stand-in servers.
#include "boundary/records/Records.h"
#include "requests/AccountRequests.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"
#include "requests/ProfileRequests.h"
#include "sandbox/Sandbox.h"
#include "support/FakeManager.h"
#include "support/ManualTimeSource.h"
#include "support/RecordingLogger.h"
#include "support/TextIn.h"
#include "support/WaitUntil.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetKeys.h>
#include <BsNet/NetworkClients.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/CastByName.h>

#include <gmock/gmock.h>

using namespace KBL;
using namespace std::chrono_literals;
using Char = ExternlMediaMixedCharKey;
using Int = ExternlMediaMixedIntKey;
using sandbox::Fault;
using sandbox::Route;

namespace {

using Credentials = BsExternlMediaAuthClientCredentialsRequest;
using Session = BsExternlMediaAuthUserSupportSessionRequest;
using Token = BsExternlMediaAuthUserSupportTokenRequest;
using Consume = BsExternlMediaAuthUserSupportConsumeRequest;

constexpr const char* ownerTag = "ema_youtube.1";
constexpr const char* uuid = "uuid-of-the-flow";

class AccountRequestFlow : public testing::Test {
 protected:
  explicit AccountRequestFlow(sandbox::SandboxOptions options = {}) : servers(std::move(options)) {
    setCloudConfig(servers.cloudConfig());
    const RefPtr<IBsInfoReader> record = adoptRef(createInfoObject(infoObjectPubInfo));
    context.pubInfo = shareRef(queryInterface<IBsPubInfo>(record.get(), "IBsPubInfo"));
    context.pubInfo->setCharKeyConfig(PubCharKey::appSecret, "sandbox-app-secret");
    context.pubInfo->setCharKeyConfig(PubCharKey::lang, "en");
    context.platform = ema_youtube;
    context.logTag = ownerTag;
    context.timeoutSeconds = 10;
    info = makeRef<BsExternlMediaAuthLoginInfo>();
    info->setCharKeyConfig(ExternlMediaLoginCharKey::platformId, "0");
    // Far off: the tests' clock runs on while the exchanges take their real time.
    info->setCharKeyConfig(ExternlMediaLoginCharKey::timeout_seconds, "1000000");
  }
  void SetUp() override { manager = makeRef<FakeManager>(context); }
  void TearDown() override {
    EXPECT_TRUE(time->advanceUntil([this] { return liveRequests() == 0 && time->waiters() == 0; }, 500));
    manager->dropAliveToken();
    manager.reset();
    clearCloudConfig();
  }

  template <class Request>
  RefPtr<Request> makeRequest() {
    auto request = makeRef<Request>();
    initAuthRequest(context, uuid, *request);
    request->addCallback(&ExternlMediaAuthCallbackProxy::instance(), false);
    return request;
  }
  template <class Request>
  RefPtr<Request> run() {
    auto request = makeRequest<Request>();
    request->syncRequestWithInfo(info.get());
    return request;
  }
  template <class Request>
  std::string errorOf() {
    const auto request = run<Request>();
    return std::to_string(request->errorInfo()->errorCode()) + ", " + request->errorInfo()->errorMessage();
  }
  /// Starts the chain of a login, as the manager does.
  void startLogin() {
    auto credentials = makeRequest<Credentials>();
    auto session = makeRequest<Session>();
    ASSERT_EQ(credentials->goOnWith(std::move(session)), resultOk);
    ASSERT_EQ(credentials.leak()->asyncRequestWithInfo(info.get()), 0);
  }
  void withPlatformToken(sandbox::Platform platform) {
    const sandbox::IssuedTokens tokens = servers.issueTokens(platform);
    info->setCharKeyConfig(Char::thirdAccessToken, tokens.accessToken.c_str());
    info->setCharKeyConfig(Char::refreshToken, tokens.refreshToken.c_str());
    info->setCharKeyConfig(Char::userAccountUid, servers.users().front().openId.c_str());
    info->setCharKeyConfig(Char::accessToken, servers.issueAccountToken().c_str());
  }
  [[nodiscard]] std::string text(const char* key) { return textIn(*info, key); }
  [[nodiscard]] int liveRequests() const {
    return static_cast<int>(log->linesWith("create:").size()) -
           static_cast<int>(log->linesWith("release:").size());
  }

  ScopedRecordingLogger log;
  ScopedManualTime time;
  sandbox::Sandbox servers;
  AuthContext context;
  RefPtr<FakeManager> manager;
  RefPtr<BsExternlMediaAuthLoginInfo> info;
};

class SlowConsentFlow : public AccountRequestFlow {
 protected:
  SlowConsentFlow() : AccountRequestFlow(options()) {}
  static sandbox::SandboxOptions options() {
    sandbox::SandboxOptions slow;
    slow.pollsBeforeConsent = 2;
    return slow;
  }
};

}  // namespace

TEST_F(AccountRequestFlow, CredentialsBringAnAccountToken) {
  EXPECT_EQ(errorOf<Credentials>(), "0, ");
  const auto token = servers.token(text(Char::accessToken));
  ASSERT_TRUE(token.has_value());
  EXPECT_EQ(token->kind, sandbox::TokenKind::account);
}

TEST_F(AccountRequestFlow, AWrongSecretIsRefusedByTheServer) {
  context.pubInfo->setCharKeyConfig(PubCharKey::appSecret, "wrong");
  const auto request = run<Credentials>();
  EXPECT_NE(request->errorInfo()->errorCode(), 0);
  EXPECT_EQ(text(Char::accessToken), "(unset)");
}

TEST_F(SlowConsentFlow, ALoginRunsToItsEnd) {
  startLogin();
  ASSERT_TRUE(time->advanceUntil([this] { return !log->linesWith(",use ms: ").empty(); }, 1000));

  EXPECT_THAT(log->linesWith(",use ms: ")[0].text, testing::StartsWith("third_share, success"));
  EXPECT_EQ(manager->count("cbQueryThirdLoginURL"), 1U);
  EXPECT_EQ(manager->count("cbQueryThirdLoginCallbackURL"), 1U);
  EXPECT_GE(servers.requestCount(Route::code), 3U);
  EXPECT_EQ(servers.requestCount(Route::googleUserInfo), 1U);
  EXPECT_EQ(servers.requestCount(Route::youtubeCategories), 1U);
  const sandbox::User user = servers.users().front();
  EXPECT_EQ(text(Char::userAccountUid), user.openId);
  EXPECT_EQ(text(Char::userAccount), user.email);
  EXPECT_EQ(text(Char::userNickName), user.name);
  EXPECT_THAT(text(Char::videoCategories), testing::EndsWith("|"));
  EXPECT_TRUE(servers.token(text(Char::thirdAccessToken)).has_value());
  EXPECT_GT(info->intKeyConfig(Int::expiresIn), 0);
}

TEST_F(SlowConsentFlow, ABrokenAnswerOfTheCodeEndpointEndsTheLogin) {
  const auto fault = servers.orderFault(Route::code, Fault::resetAtOnce());
  startLogin();
  ASSERT_TRUE(time->advanceUntil([this] { return !log->linesWith(",use ms: ").empty(); }, 1000));

  EXPECT_EQ(manager->count("cbRequestForward"), 1U);
  EXPECT_EQ(manager->count("cbQueryThirdLoginCallbackURL"), 0U);
  EXPECT_EQ(servers.requestCount(Route::code), 1U);
  EXPECT_EQ(servers.faultsDelivered(fault), 1U);
}

TEST_F(AccountRequestFlow, ALoginWhoseSessionFailsReportsOnceAndPollsNever) {
  const auto fault = servers.orderFault(Route::session, Fault::status(503, "busy", "text/plain"));
  startLogin();
  EXPECT_TRUE(waitUntil([this] { return manager->count("queryResponse") == 2; }));

  const ManagerCall end = manager->calls("queryResponse")[1];
  EXPECT_EQ(end.code, 503);
  EXPECT_EQ(end.message, "busy");
  EXPECT_EQ(manager->count("cbQueryThirdLoginURL"), 0U);
  EXPECT_EQ(servers.faultsDelivered(fault), 1U);
}

TEST_F(AccountRequestFlow, ARefreshTradesTheTokens) {
  withPlatformToken(sandbox::Platform::youtube);
  const std::string oldToken = text(Char::thirdAccessToken);
  EXPECT_EQ(errorOf<Token>(), "0, ");
  EXPECT_NE(text(Char::thirdAccessToken), oldToken);
  EXPECT_TRUE(servers.token(text(Char::thirdAccessToken)).has_value());
}

TEST_F(AccountRequestFlow, ConsumeIsAnsweredInTheEnvelope) {
  withPlatformToken(sandbox::Platform::youtube);
  EXPECT_EQ(errorOf<Consume>(), "0, ");
  info->setCharKeyConfig(Char::accessToken, "never issued");
  EXPECT_NE(run<Consume>()->errorInfo()->errorCode(), 0);
}

TEST_F(AccountRequestFlow, EveryPlatformTellsItsProfile) {
  withPlatformToken(sandbox::Platform::youtube);
  EXPECT_EQ(errorOf<BsExternlMediaAuthYoutubeUserInfoRequest>(), "0, ");
  EXPECT_EQ(errorOf<BsExternlMediaAuthYoutubeVideoCategoryRequest>(), "0, ");
  EXPECT_EQ(text(Char::userNickName), servers.users().front().name);

  withPlatformToken(sandbox::Platform::tiktok);
  EXPECT_EQ(errorOf<BsExternlMediaAuthTiktokUserInfoRequest>(), "0, ");
  withPlatformToken(sandbox::Platform::douyin);
  EXPECT_EQ(errorOf<BsExternlMediaAuthDouyinUserInfoRequest>(), "0, ");
  EXPECT_EQ(manager->count("updateInfo"), 4U);
}

TEST_F(AccountRequestFlow, PlatformsRefuseATokenThatHasExpired) {
  withPlatformToken(sandbox::Platform::youtube);
  servers.expireAccessTokens();
  EXPECT_NE(run<BsExternlMediaAuthYoutubeUserInfoRequest>()->errorInfo()->errorCode(), 0);
  EXPECT_NE(run<BsExternlMediaAuthYoutubeVideoCategoryRequest>()->errorInfo()->errorCode(), 0);
  EXPECT_EQ(manager->count("updateInfo"), 0U);
}

TEST_F(AccountRequestFlow, RetriesMeetTheServerAgain) {
  const auto fault = servers.orderFault(Route::clientCredentials, Fault::status(503), 1, 2);
  auto request = makeRequest<Credentials>();
  request->SetRetryTimes(2);
  ASSERT_EQ(request.leak()->asyncRequestWithInfo(info.get()), 0);
  EXPECT_TRUE(waitUntil([this] { return manager->count("queryResponse") == 1; }));

  EXPECT_EQ(manager->calls("queryResponse")[0].code, 0);
  EXPECT_EQ(servers.requestCount(Route::clientCredentials), 3U);
  EXPECT_EQ(servers.faultsDelivered(fault), 2U);
}

/// Whatever comes back, the request ends with an error and leaves the info as it was.
TEST_F(AccountRequestFlow, BadAnswersEndInAnErrorAndWriteNothing) {
  NetSettings smallReplies;
  smallReplies.maxReplyBytes = 1U << 20;
  setNetSettings(smallReplies);
  const std::pair<const char*, Fault> faults[] = {
      {"closed", Fault::closeAtOnce()},
      {"reset", Fault::resetAtOnce()},
      {"answer reset", Fault::resetAnswerAfter(40)},
      {"truncated", Fault::truncatedBody(5)},
      {"broken JSON", Fault::brokenJson()},
      {"deep", Fault::deepNesting(100000)},
      {"bomb", Fault::gzipBomb(16U << 20)},
      {"huge", Fault::hugeBody(4U << 20)},
      {"empty", Fault::body("")},
      {"no object", Fault::body("[1,2]")},
      {"code of another type", Fault::replaceMember("code", "\"0\"")},
      {"no code", Fault::removeMember("code")},
      {"server error", Fault::status(500, R"({"code":0,"data":{"access_token":"evil"}})")},
  };
  for (const auto& [what, fault] : faults) {
    const auto id = servers.orderFault(Route::clientCredentials, fault);
    const auto request = run<Credentials>();
    EXPECT_NE(request->errorInfo()->errorCode(), 0) << what;
    EXPECT_EQ(text(Char::accessToken), "(unset)") << what;
    EXPECT_EQ(servers.faultsDelivered(id), 1U) << what;
  }
  EXPECT_EQ(manager->count("updateInfo"), 0U);
  setNetSettings({});
}

TEST_F(AccountRequestFlow, WrongTypesInTheDataReadAsMissing) {
  const auto fault =
      servers.orderFault(Route::clientCredentials, Fault::replaceMember("data.expires_in", "[]"));
  EXPECT_EQ(errorOf<Credentials>(), "0, ");
  EXPECT_EQ(info->intKeyConfig(Int::expiresIn), 0);
  EXPECT_EQ(servers.faultsDelivered(fault), 1U);
}

TEST_F(AccountRequestFlow, ADeadServerIsATransportFailure) {
  servers.setListening(false);
  const auto request = run<Credentials>();
  EXPECT_EQ(request->errorInfo()->errorCode(), 200007);
  EXPECT_EQ(request->errorInfo()->originCode(), 7);
}
