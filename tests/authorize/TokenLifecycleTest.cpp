// Refresh, verification, and handing out of platform tokens.

#include "authorize/ManagerFixture.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/Records.h"
#include "support/LastRelease.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <algorithm>
#include <limits>
#include <utility>

using namespace KBL;

namespace {
class TokenLifecycle : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  /// The interval that an answer with this lifetime leads to.
  [[nodiscard]] std::int64_t intervalAfter(long long expiresIn) {
    const auto info = makeRef<BsExternlMediaAuthRefreshTokenInfo>();
    info->setIntKeyConfig(ExternlMediaMixedIntKey::expiresIn, expiresIn);
    EXPECT_EQ(AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", info.get(), true), 0);
    return proxy("u")->refreshIntervalMs();
  }
  static NetReply canceledReply() {
    NetReply reply;
    reply.resultCode = ErrorCode::userCancelled;
    reply.errorMessage = "User cancelled!";
    return reply;
  }
  [[nodiscard]] HostEvent onlyResponse() const {
    const auto events = host.events(HostEvent::response);
    EXPECT_EQ(events.size(), 1U);
    return events.empty() ? HostEvent{} : events.front();
  }
};
}  // namespace

TEST_F(TokenLifecycle, ARefreshIsDueFiveMinutesBeforeTheTokensEnd) {
  EXPECT_EQ(intervalAfter(3600), 3'300'000);
  EXPECT_EQ(intervalAfter(86400), 86'100'000);
  EXPECT_EQ(intervalAfter(300), 0);
  EXPECT_EQ(intervalAfter(0), -300'000);
}

TEST_F(TokenLifecycle, AnyLifetimeOfAServerIsBorne) {
  EXPECT_GT(intervalAfter(std::numeric_limits<long long>::max() - 1), 0);
  EXPECT_LT(intervalAfter(std::numeric_limits<long long>::min()), 0);
}

TEST_F(TokenLifecycle, WithoutALifetimeTheConfiguredIntervalHolds) {
  manager->init(directory.file("cache").c_str(), 1'800'000);
  const auto info = makeInfo(infoTypeRefreshToken);
  AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", info.get(), true);
  EXPECT_EQ(proxy("u")->refreshIntervalMs(), 1'800'000);
  EXPECT_TRUE(logger->hasLine("diks_id, " + tag + ", uuid: urefresh interval:1800000 ms"));
}

TEST_F(TokenLifecycle, ANewRefresherStartsWithTheConfiguredInterval) {
  manager->init(directory.file("cache").c_str(), 1'800'000);
  armRefresh("u");
  const auto lines = logger->linesWith("refresh interval:");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].text, "diks_id, " + tag + ", uuid: urefresh interval:1800000 ms");
  EXPECT_EQ(lines[1].text, "diks_id, " + tag + ", uuid: urefresh interval:120000 ms");
}

TEST_F(TokenLifecycle, AFailureIsTriedAgainAfterTwoMinutes) {
  const auto info = makeRef<BsExternlMediaAuthRefreshTokenInfo>();
  info->setIntKeyConfig(ExternlMediaMixedIntKey::expiresIn, 3600);
  AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", info.get(), false);
  EXPECT_EQ(proxy("u")->refreshIntervalMs(), 120'000);
}

TEST_F(TokenLifecycle, WithoutUuidOrInfoNothingIsScheduled) {
  const auto info = makeInfo(infoTypeRefreshToken);
  EXPECT_EQ(AuthorizeTestAccess::scheduleTokenRefresh(*manager, "", info.get(), true), 0);
  EXPECT_EQ(AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", nullptr, true), 0);
  EXPECT_EQ(proxy("u"), nullptr);
  EXPECT_EQ(proxy(""), nullptr);
}

TEST_F(TokenLifecycle, ADyingManagerSchedulesNothing) {
  int result = -1;
  LastRelease ending([&, dying = manager](IDmBaseObj*) {
    const auto info = makeInfo(infoTypeRefreshToken);
    result = AuthorizeTestAccess::scheduleTokenRefresh(*dying, "u", info.get(), true);
  });
  manager->SetProtocol(&ending);
  releaseManager();
  EXPECT_EQ(result, 1);
}

TEST_F(TokenLifecycle, TheLastReleaseStopsTheRefreshersAndWaitsForOneUnderWay) {
  startHeldRefresh("u");
  const auto refresher = proxy("u");
  expectToWaitATenthOfASecond([released = std::exchange(manager, nullptr)] { released->Release(); });
  EXPECT_TRUE(refresher->stopping());
  EXPECT_FALSE(refresher->refreshing());
  network.open("/token");
}

TEST_F(TokenLifecycle, TheLastReleaseDoesNotWaitForAnIdleRefresher) {
  armRefresh("u");
  const auto refresher = proxy("u");
  std::exchange(manager, nullptr)->Release();  // the clock stands still: a sleep would last for ever
  EXPECT_TRUE(refresher->stopping());
}

TEST_F(TokenLifecycle, ABackgroundRefreshRenewsTheTokenAndTellsTheHostOfItAlone) {
  const auto before = nowSeconds();
  armRefresh("u");
  ASSERT_TRUE(runUntil([&] { return !host.events(HostEvent::tokenChanged).empty(); }, 60'000));
  const auto refreshed = network.exchanges("/token");
  ASSERT_EQ(refreshed.size(), 1U);
  EXPECT_EQ(refreshed[0].bearer, "account-token");
  EXPECT_NE(refreshed[0].body.find("refresh-u"), std::string::npos);
  ASSERT_TRUE(waitUntil([&] { return proxy("u")->refreshIntervalMs() == 3'300'000; }));
  EXPECT_TRUE(waitUntil([&] { return !proxy("u")->refreshing(); }));
  EXPECT_EQ(user("u").thirdAccessToken, "third-2");
  EXPECT_EQ(user("u").refreshToken, "refresh-2");
  EXPECT_EQ(user("u").accessToken, "account-token");
  EXPECT_LE(user("u").expiresTimeout, nowSeconds() + 3600);
  EXPECT_GE(user("u").expiresTimeout, before + 3600);
  EXPECT_EQ(storedUsers().at(0)->thirdAccessToken, "third-2");
  EXPECT_EQ(host.events().size(), 1U);
}

TEST_F(TokenLifecycle, ARefreshLogsItsTokenMaskedAtErrorSeverity) {
  armRefresh("user-of-the-refresh");
  ASSERT_TRUE(runUntil([&] { return !logger->linesWith("refreshAccessToken").empty(); }, 60'000));
  const auto lines = logger->linesWith("refreshAccessToken");
  EXPECT_EQ(lines[0].text, tag + ", refreshAccessToken:refresh-u*********e-refresh");
  EXPECT_EQ(lines[0].severity, IBsLogger::severityError);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthorize::cbAsyncRefreshAccessToken");
  ASSERT_TRUE(host.waitFor(HostEvent::tokenChanged, 1));
}

TEST_F(TokenLifecycle, AFailedRefreshIsReportedAndRetriedWithoutLimit) {
  network.answer("/token", R"({"code":7,"msg":"no more"})");
  armRefresh("u");
  for (std::size_t round = 1; round <= 3; ++round) {
    ASSERT_TRUE(runUntil([&] { return host.events(HostEvent::response).size() == round; }, 30'000));
    const HostEvent event = host.events(HostEvent::response).back();
    EXPECT_EQ(event.infoType, infoTypeRefreshToken);
    EXPECT_EQ(event.code, 7);
    EXPECT_EQ(event.text, "no more");
    EXPECT_EQ(event.infoUuid, "u");
    EXPECT_EQ(event.refreshToken, "refresh-u");
    EXPECT_EQ(proxy("u")->refreshIntervalMs(), 120'000);
  }
  network.answer("/token", R"({"code":0,"data":{"access_token":"t","refresh_token":"r","expires_in":7200}})");
  ASSERT_TRUE(runUntil([&] { return proxy("u")->refreshIntervalMs() == 6'900'000; }, 30'000));
}

TEST_F(TokenLifecycle, AFailedFirstStepOfARefreshIsReportedOnce) {
  network.answer("/credentials", R"({"code":9,"msg":"no account"})");
  armRefresh("u");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() > 0; }, 60'000));
  ASSERT_TRUE(host.waitFor(HostEvent::response, 1));
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  EXPECT_EQ(onlyResponse().code, 9);
  EXPECT_EQ(onlyResponse().requestName, "ExternlMediaAuthClientCredentials");
  EXPECT_TRUE(network.exchanges("/token").empty());
  EXPECT_EQ(proxy("u")->refreshIntervalMs(), 120'000);
  EXPECT_FALSE(proxy("u")->refreshing());
}

TEST_F(TokenLifecycle, ACanceledRefreshIsNotReported) {
  network.answer("/token", [&](const SentExchange&) {
    proxy("u")->setRefreshInterval(3'300'000);
    return canceledReply();
  });
  armRefresh("u");
  ASSERT_TRUE(runUntil([&] { return logger->hasLine(tag + ", user canceled"); }, 60'000));
  EXPECT_TRUE(host.events().empty());
  EXPECT_EQ(proxy("u")->refreshIntervalMs(), 120'000);
}

TEST_F(TokenLifecycle, ACanceledVerificationIsNotReportedAndTriedAgain) {
  network.answer("/token", [&](const SentExchange&) { return canceledReply(); });
  signIn("u");
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  EXPECT_TRUE(logger->hasLine(tag + ", user canceled"));
  EXPECT_TRUE(host.events().empty());
  ASSERT_NE(proxy("u"), nullptr);
  EXPECT_EQ(proxy("u")->refreshIntervalMs(), 120'000);
}

TEST_F(TokenLifecycle, TheRefresherIsArmedBeforeTheHostHears) {
  std::int64_t interval = 0;
  bool refreshing = true;
  host.inside = [&](const HostEvent& event) {
    if (event.kind != HostEvent::response) return;
    interval = proxy("u") == nullptr ? 0 : proxy("u")->refreshIntervalMs();
    refreshing = proxy("u") == nullptr || proxy("u")->refreshing();
  };
  signIn("u");
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  EXPECT_EQ(interval, 3'300'000);
  network.answer("/token", R"({"code":7,"msg":"no"})");
  proxy("u")->setRefreshInterval(0);
  ASSERT_TRUE(runUntil([&] { return host.events(HostEvent::response).size() == 2; }));
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  EXPECT_EQ(interval, 120'000);
  EXPECT_FALSE(refreshing);
}

TEST_F(TokenLifecycle, AFailedRenewalOfAUserWithoutARefreshTokenArmsNothing) {
  auto user = makeUser("u", nowSeconds() + 10);
  user.refreshToken.clear();
  AuthorizeTestAccess::setEntries(*manager, {user});
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 1));
  EXPECT_EQ(onlyResponse().code, -10002);
  EXPECT_EQ(proxy("u"), nullptr);
}

TEST_F(TokenLifecycle, ARefreshThatCannotStartSaysWhy) {
  EXPECT_EQ(manager->cbAsyncRefreshAccessToken(""), 1);
  EXPECT_TRUE(logger->hasLine(tag + ", uuid is empty"));
  EXPECT_EQ(manager->cbAsyncRefreshAccessToken("u"), 1);
  EXPECT_TRUE(logger->hasLine(tag + ", uuid: u, AccessTokenProxy not exist"));
  const auto info = makeInfo(infoTypeRefreshToken);
  AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", info.get(), false);
  EXPECT_EQ(manager->cbAsyncRefreshAccessToken("u"), 1);
  EXPECT_TRUE(logger->hasLine(tag + ", uuid: u is not exist"));
  auto withoutToken = makeUser("u", nowSeconds() + 10);
  withoutToken.refreshToken.clear();
  AuthorizeTestAccess::setEntries(*manager, {withoutToken});
  EXPECT_EQ(manager->cbAsyncRefreshAccessToken("u"), 1);
  EXPECT_TRUE(logger->hasLine(tag + ", uuid: u, refresh token is empty"));
  AuthorizeTestAccess::setEntries(*manager, {makeUser("u", nowSeconds() + 10)});
  proxy("u")->waitToStop(0);
  EXPECT_EQ(manager->cbAsyncRefreshAccessToken("u"), 1);
  const auto lines = logger->linesWith(", wait to stop");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, tag + ", uuid: u, wait to stop");
  EXPECT_EQ(lines[0].severity, IBsLogger::severityError);
  EXPECT_TRUE(network.exchanges("/").empty());
}

TEST_F(TokenLifecycle, NoRefresherStandsUntilAVerification) {
  signIn("u");
  EXPECT_EQ(proxy("u"), nullptr);
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 1));
  ASSERT_NE(proxy("u"), nullptr);
  EXPECT_EQ(proxy("u")->refreshIntervalMs(), 3'300'000);
}

TEST_F(TokenLifecycle, AVerificationGetsOneAnswerInSuccess) {
  signIn("u");
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0 && !host.events(HostEvent::response).empty(); }));
  EXPECT_EQ(onlyResponse().infoType, infoTypeVerifyAccessToken);
  EXPECT_EQ(onlyResponse().code, 0);
  EXPECT_EQ(onlyResponse().requestName, "ExternlMediaAuthUserSupportToken");
  EXPECT_EQ(user("u").thirdAccessToken, "third-2");
}

TEST_F(TokenLifecycle, AVerificationGetsOneAnswerInFailure) {
  signIn("u");
  for (const char* const failing : {"/token", "/credentials"}) {
    network.answer(failing, R"({"code":7,"msg":"no"})");
    const std::size_t before = host.events(HostEvent::response).size();
    EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
    ASSERT_TRUE(host.waitFor(HostEvent::response, before + 1));
    ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
    EXPECT_EQ(host.events(HostEvent::response).size(), before + 1);
    EXPECT_EQ(host.events().back().infoType, infoTypeVerifyAccessToken);
    EXPECT_EQ(host.events().back().code, 7);
  }
  EXPECT_EQ(proxy("u")->refreshIntervalMs(), 120'000);
}

TEST_F(TokenLifecycle, AVerificationWithoutUsersIsRefused) {
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultFailed);
  EXPECT_EQ(onlyResponse().infoType, infoTypeVerifyAccessToken);
  EXPECT_EQ(onlyResponse().code, -10021);
  EXPECT_EQ(onlyResponse().text, tag + ", empty data");
  EXPECT_TRUE(logger->hasLine(tag + ", uuid: u, size:0"));
}

TEST_F(TokenLifecycle, AVerificationOfAnUnknownUserIsRefused) {
  signIn("u");
  EXPECT_EQ(manager->toVerifyAccessToken("other"), resultFailed);
  EXPECT_EQ(onlyResponse().code, -10021);
  EXPECT_EQ(onlyResponse().text, tag + ", uuid empty data");
  EXPECT_EQ(onlyResponse().requestUuid, "other");
}

TEST_F(TokenLifecycle, AVerificationOfAUserWithoutAccountIsRefused) {
  auto user = makeUser("u", nowSeconds() + 10);
  user.userAccountUid.clear();
  AuthorizeTestAccess::setEntries(*manager, {user});
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultFailed);
  EXPECT_EQ(onlyResponse().code, -10021);
  EXPECT_EQ(onlyResponse().text, tag + ", user_cloud_disk_uid empty");
}

TEST_F(TokenLifecycle, AVerificationOneSecondPastTheEndIsRefusedWithoutNetwork) {
  AuthorizeTestAccess::setEntries(*manager, {makeUser("u", nowSeconds() - 1)});
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultFailed);
  EXPECT_EQ(onlyResponse().code, -10022);
  EXPECT_EQ(onlyResponse().text, tag + ", token expired");
  EXPECT_TRUE(network.exchanges("/").empty());
}

TEST_F(TokenLifecycle, AVerificationInTheVeryLastSecondIsMade) {
  AuthorizeTestAccess::setEntries(*manager, {makeUser("u", nowSeconds())});
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  EXPECT_TRUE(host.waitFor(HostEvent::response, 1));
}

TEST_F(TokenLifecycle, AnEmptyOrNullUuidVerifiesTheLastUser) {
  for (const char* const uuid : {"", static_cast<const char*>(nullptr)}) {
    AuthorizeTestAccess::setEntries(
        *manager, {makeUser("first", nowSeconds() + 10), makeUser("last", nowSeconds() + 10)});
    const std::size_t before = network.exchanges("/token").size();
    EXPECT_EQ(manager->toVerifyAccessToken(uuid), resultOk);
    ASSERT_TRUE(host.waitFor(HostEvent::response, before + 1));
    EXPECT_NE(network.exchanges("/token").back().body.find("refresh-last"), std::string::npos);
  }
}

TEST_F(TokenLifecycle, GetAccessTokenOfNoUuidIsTheLastUsers) {
  signIn("first");
  signIn("last");
  char buffer[64] = {};
  EXPECT_EQ(manager->getAccessToken("", buffer), resultOk);
  EXPECT_STREQ(buffer, "third-last");
  char other[64] = {};
  EXPECT_EQ(manager->getAccessToken(nullptr, other), resultOk);
  EXPECT_STREQ(other, "third-last");
  EXPECT_TRUE(logger->hasLine(tag + ", uuid: , cache size: 2"));
}

TEST_F(TokenLifecycle, GetAccessTokenOfAnUnknownUserWritesNothing) {
  char buffer[8] = "untouch";
  EXPECT_EQ(manager->getAccessToken("u", buffer), resultFailed);
  signIn("u");
  EXPECT_EQ(manager->getAccessToken("other", buffer), resultFailed);
  EXPECT_STREQ(buffer, "untouch");
  EXPECT_EQ(manager->getAccessToken("u", nullptr), resultFailed);
}

TEST_F(TokenLifecycle, GetAccessTokenWritesTheTokensLengthAndNoMore) {
  signIn("u");
  std::string buffer(20, '#');
  manager->getAccessToken("u", buffer.data());
  EXPECT_EQ(buffer, "third-u" + std::string(13, '#'));
}

TEST_F(TokenLifecycle, GetAccessTokenCutsAt8192AndFillsTheRestWithZeros) {
  for (const std::size_t length : {std::size_t{8192}, std::size_t{8193}, std::size_t{100'000}}) {
    auto user = makeUser("u", nowSeconds() + 10);
    user.thirdAccessToken = std::string(length, 't');
    AuthorizeTestAccess::setEntries(*manager, {user});
    std::vector<char> buffer(length, '#');
    EXPECT_EQ(manager->getAccessToken("u", buffer.data()), resultOk);
    EXPECT_EQ(std::count(buffer.begin(), buffer.begin() + 8192, 't'), 8192);
    EXPECT_EQ(std::count(buffer.begin() + 8192, buffer.end(), '\0'),
              static_cast<std::ptrdiff_t>(length) - 8192);
  }
}

TEST_F(TokenLifecycle, GetAccessTokenDoesNotTestTheExpiry) {
  AuthorizeTestAccess::setEntries(*manager, {makeUser("u", 1)});
  char buffer[64] = {};
  EXPECT_EQ(manager->getAccessToken("u", buffer), resultOk);
  EXPECT_STREQ(buffer, "third-u");
}
