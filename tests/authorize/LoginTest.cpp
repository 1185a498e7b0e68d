// The login flow from the host's call to the stored user.

#include "authorize/ManagerFixture.h"
#include "boundary/records/Records.h"
#include "requests/ProfileRequests.h"
#include "support/WaitUntil.h"
#include <BsNet/BsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

using namespace KBL;

namespace {
class Login : public ManagerFixture {
 protected:
  using ManagerFixture::ManagerFixture;
  void SetUp() override { makeManager(); }

  void start(KeyValues values = {{ExternlMediaLoginCharKey::platformId, "0"}}) {
    ASSERT_EQ(manager->toExternlMediaAuth(makeInfo(infoTypeLogin, values).get()), resultOk);
    ASSERT_TRUE(host.waitFor(HostEvent::loginUrl, ++loginsStarted_));
  }
  /// Until the polling has ended in success.
  void finish() {
    ASSERT_TRUE(runUntil([&] { return host.events(HostEvent::callbackUrl).size() == loginsStarted_; }));
  }
  /// The end of a profile request of this user, with this code.
  void answerProfile(const std::string& uuid, int code) {
    const auto request = makeRef<BsExternlMediaAuthYoutubeUserInfoRequest>();
    initAuthRequest(context(), uuid, *request);
    const auto info = makeInfo(infoTypeLogin, {{ExternlMediaMixedCharKey::refreshToken, "r"}});
    request->errorInfo()->setError(code, "");
    manager->queryResponse(request.get(), info.get(), request->errorInfo().get());
  }
  [[nodiscard]] std::string sessionBody() const { return network.exchanges("/session").back().body; }

 private:
  std::size_t loginsStarted_ = 0;
};

class TiktokLogin : public Login {
 protected:
  TiktokLogin() : Login(ema_tiktok) {}
};
class DouyinLogin : public Login {
 protected:
  DouyinLogin() : Login(ema_douyin) {}
};
class VimeoLogin : public Login {
 protected:
  VimeoLogin() : Login(ema_vimeo) {}
};
}  // namespace

TEST_F(Login, WithoutARecordIsRefusedAndCreatesNothing) {
  EXPECT_EQ(manager->toExternlMediaAuth(nullptr), resultFailed);
  EXPECT_TRUE(context().cacheEntries.empty());
  EXPECT_EQ(AuthorizeTestAccess::liveRequests(*manager), 0U);
  EXPECT_EQ(requestsAlive(), 0U);
}

TEST_F(Login, StoresTheUserAndTellsTheHostInOrder) {
  start();
  finish();
  const auto events = host.events();
  ASSERT_EQ(events.size(), 4U);
  EXPECT_EQ(events[0].kind, HostEvent::loginUrl);
  EXPECT_EQ(events[0].text, "http://fake.test/open");
  EXPECT_EQ(events[1].kind, HostEvent::tokenChanged);
  EXPECT_EQ(events[1].text, "");
  EXPECT_EQ(events[1].second, "third-1");
  EXPECT_EQ(events[2].kind, HostEvent::response);
  EXPECT_EQ(events[2].infoType, infoTypeLogin);
  EXPECT_EQ(events[2].code, 0);
  EXPECT_EQ(events[2].requestName, "ExternlMediaAuthYoutubeUserInfo");
  EXPECT_EQ(events[3].kind, HostEvent::callbackUrl);
  EXPECT_EQ(events[3].text, "http://fake.test/done");

  ASSERT_EQ(context().cacheEntries.size(), 1U);
  const ExternlMediaCacheInfo record = *context().cacheEntries[0];
  EXPECT_EQ(record.thirdAccessToken, "third-1");
  EXPECT_EQ(record.refreshToken, "refresh-1");
  EXPECT_EQ(record.accessToken, "account-token");
  EXPECT_EQ(record.userAccountUid, "google-id");
  EXPECT_EQ(record.userNickName, "Ada L");
  EXPECT_EQ(record.videoCategories, "Film|");
  EXPECT_EQ(record.diskType, ema_youtube);
  for (const HostEvent& event : events) {
    EXPECT_EQ(event.uuid, event.kind == HostEvent::response ? "" : record.userUuid);
  }
  ASSERT_EQ(storedUsers().size(), 1U);
  EXPECT_EQ(storedUsers()[0]->videoCategories, "Film|");

  const auto proxy = AuthorizeTestAccess::tokenProxy(*manager, record.userUuid);
  ASSERT_NE(proxy, nullptr);
  EXPECT_EQ(proxy->refreshIntervalMs(), 3'300'000);
}

TEST_F(Login, TheFirstPollComesThreeSecondsAfterTheAddress) {
  start();
  ASSERT_TRUE(waitUntil([&] { return time->waiters() >= 1; }));
  const std::int64_t before = time->steadyMs();
  ASSERT_TRUE(runUntil([&] { return !network.exchanges("/code").empty(); }, 100));
  EXPECT_GE(time->steadyMs() - before, 2900);
  finish();
}

TEST_F(Login, CallbacksDoNotComeOnTheHostsThread) {
  start();
  finish();
  for (const HostEvent& event : host.events()) EXPECT_NE(event.thread, std::this_thread::get_id());
}

TEST_F(Login, OnAnEmptyCacheMakesOneRecordUnderAFreshUuid) {
  start({{ExternlMediaLoginCharKey::platformId, "0"}, {ExternlMediaLoginCharKey::userSessionId, "my-own"}});
  ASSERT_EQ(context().cacheEntries.size(), 1U);
  const std::string uuid = context().cacheEntries[0]->userUuid;
  EXPECT_EQ(uuid.size(), 36U);
  EXPECT_EQ(host.events()[0].uuid, uuid);
  EXPECT_TRUE(logger->hasLine(tag + ", uuid: " + uuid));
  finish();
  EXPECT_EQ(context().cacheEntries.size(), 1U);
}

TEST_F(Login, SecondUnknownUserReusesTheLastRecord) {
  signIn("a");
  signIn("b");
  start({{ExternlMediaLoginCharKey::platformId, "0"}, {ExternlMediaLoginCharKey::userSessionId, "stranger"}});
  EXPECT_EQ(host.events()[0].uuid, "b");
  finish();
  ASSERT_EQ(context().cacheEntries.size(), 2U);
  EXPECT_EQ(user("b").thirdAccessToken, "third-1");
  EXPECT_EQ(user("a").thirdAccessToken, "third-a");
}

TEST_F(Login, AKnownUserKeepsItsRecord) {
  signIn("a");
  signIn("b");
  start({{ExternlMediaLoginCharKey::platformId, "0"}, {ExternlMediaLoginCharKey::userSessionId, "a"}});
  EXPECT_EQ(host.events()[0].uuid, "a");
  finish();
  EXPECT_EQ(context().cacheEntries.size(), 2U);
  EXPECT_EQ(user("a").thirdAccessToken, "third-1");
  EXPECT_EQ(user("b").thirdAccessToken, "third-b");
}

TEST_F(Login, TheHostsRecordIsNeitherWrittenNorHeld) {
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
  EXPECT_EQ(info->charKeyConfig(ExternlMediaLoginCharKey::userSessionId), nullptr);
  EXPECT_EQ(info->charKeyConfig(ExternlMediaLoginCharKey::scope), nullptr);
  EXPECT_EQ(info->AddRef(), 2);
  EXPECT_EQ(info->Release(), 1);
  ASSERT_TRUE(host.waitFor(HostEvent::loginUrl, 1));
}

TEST_F(Login, YoutubeAsksForThreeScopes) {
  start();
  EXPECT_NE(sessionBody().find("\"scope\":[\"https://www.googleapis.com/auth/userinfo.profile\","
                               "\"https://www.googleapis.com/auth/youtube.upload\","
                               "\"https://www.googleapis.com/auth/youtube.readonly\"]"),
            std::string::npos);
}

TEST_F(Login, AHostsScopeWins) {
  start({{ExternlMediaLoginCharKey::platformId, "0"}, {ExternlMediaLoginCharKey::scope, "mine"}});
  EXPECT_NE(sessionBody().find("\"scope\":[\"mine\"]"), std::string::npos);
}

TEST_F(Login, AHostsEmptyScopeAsksForNone) {
  start({{ExternlMediaLoginCharKey::platformId, "0"}, {ExternlMediaLoginCharKey::scope, ""}});
  EXPECT_EQ(sessionBody().find("scope"), std::string::npos);
}

TEST_F(TiktokLogin, AsksForTwoScopesAsAnArray) {
  start();
  EXPECT_NE(sessionBody().find("\"scope\":[\"user.info.basic\",\"video.upload\"]"), std::string::npos);
  finish();
  EXPECT_EQ(context().cacheEntries.at(0)->userAccountUid, "tt-id");
  EXPECT_EQ(host.events(HostEvent::response).size(), 1U);
}

TEST_F(DouyinLogin, AsksForItsTwoScopes) {
  start();
  EXPECT_NE(sessionBody().find("\"scope\":[\"user_info\",\"renew_refresh_token\"]"), std::string::npos);
  finish();
  EXPECT_EQ(context().cacheEntries.at(0)->userAccountUid, "dy-id");
  EXPECT_EQ(host.events(HostEvent::response).size(), 1U);
}

TEST_F(VimeoLogin, HasNoScopeAndNoProfile) {
  start();
  EXPECT_EQ(sessionBody().find("scope"), std::string::npos);
  finish();
  EXPECT_TRUE(host.events(HostEvent::response).empty());
  EXPECT_EQ(context().cacheEntries.at(0)->thirdAccessToken, "third-1");
}

TEST_F(Login, AProfileWithoutRefreshTokenReportsNoSuccess) {
  signIn("u");
  const auto request = makeRef<BsExternlMediaAuthYoutubeUserInfoRequest>();
  initAuthRequest(context(), "u", *request);
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaMixedCharKey::thirdAccessToken, "t"}});
  const auto error = request->errorInfo();
  EXPECT_EQ(manager->queryResponse(request.get(), info.get(), error.get()), resultOk);
  EXPECT_TRUE(host.events().empty());
  EXPECT_EQ(AuthorizeTestAccess::tokenProxy(*manager, "u"), nullptr);
  EXPECT_TRUE(logger->hasLine(tag + ", name: ExternlMediaAuthYoutubeUserInfo, infoType: 400"));
}

TEST_F(Login, AFailureOfASignedInUserArmsARetryAndIsReported) {
  signIn("u");
  const auto request = makeRef<BsExternlMediaAuthYoutubeUserInfoRequest>();
  initAuthRequest(context(), "u", *request);
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaMixedCharKey::refreshToken, "r"}});
  const auto error = request->errorInfo();
  error->setError(401, "refused");
  manager->queryResponse(request.get(), info.get(), error.get());
  ASSERT_EQ(host.events().size(), 1U);
  EXPECT_EQ(host.events()[0].code, 401);
  EXPECT_EQ(AuthorizeTestAccess::tokenProxy(*manager, "u")->refreshIntervalMs(), 120'000);
}

TEST_F(Login, AFailureOfAUserWithoutARefreshTokenArmsNothing) {
  auto user = makeUser("u", nowSeconds() + 10);
  user.refreshToken.clear();
  AuthorizeTestAccess::setEntries(*manager, {user});
  answerProfile("u", 401);
  EXPECT_EQ(host.events().size(), 1U);
  EXPECT_EQ(proxy("u"), nullptr);
}

TEST_F(Login, ACancellationOfASignedInUserArmsARetry) {
  signIn("u");
  answerProfile("u", -10007);
  EXPECT_TRUE(host.events().empty());
  ASSERT_NE(proxy("u"), nullptr);
  EXPECT_EQ(proxy("u")->refreshIntervalMs(), 120'000);
}

TEST_F(Login, TheRefresherIsArmedBeforeTheHostHears) {
  std::vector<std::int64_t> intervals;
  host.inside = [&](const HostEvent& event) {
    if (event.kind != HostEvent::response) return;
    const auto refresher = proxy("u");
    intervals.push_back(refresher == nullptr ? 0 : refresher->refreshIntervalMs());
  };
  signIn("u");
  answerProfile("u", 0);
  answerProfile("u", 401);
  EXPECT_EQ(intervals, (std::vector<std::int64_t>{3'300'000, 120'000}));
}

TEST_F(Login, ACancellationIsNeverReported) {
  const auto request = makeRef<BsExternlMediaAuthYoutubeUserInfoRequest>();
  initAuthRequest(context(), "u", *request);
  const auto info = makeInfo(infoTypeLogin);
  const auto error = request->errorInfo();
  error->setError(-10007, "third_share, user canceled");
  manager->queryResponse(request.get(), info.get(), error.get());
  EXPECT_TRUE(host.events().empty());
  EXPECT_TRUE(logger->hasLine(tag + ", user canceled"));
}

TEST_F(Login, AFailedStepReachesTheHostOnceAndNoPollingStarts) {
  for (const char* const failing : {"/session", "/credentials"}) {
    network.answer(failing, R"({"code":7,"msg":"no"})");
    const std::size_t before = host.events().size();
    const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
    ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
    ASSERT_TRUE(host.waitFor(HostEvent::response, before + 1));
    manager->cancelLogin();  // the list's reference
    ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
    EXPECT_EQ(host.events().size(), before + 1);
    EXPECT_EQ(host.events().back().code, 7);
    EXPECT_EQ(host.events().back().infoType, infoTypeLogin);
  }
  EXPECT_TRUE(network.exchanges("/code").empty());
}

TEST_F(Login, WithoutAnAnswerEndsAtItsTimeLimit) {
  network.answer("/code", R"({"code":0,"data":{"status":2}})");
  start({{ExternlMediaLoginCharKey::platformId, "0"}, {ExternlMediaLoginCharKey::timeout_seconds, "60"}});
  ASSERT_TRUE(runUntil([&] { return !host.events(HostEvent::response).empty(); }, 3000));
  manager->cancelLogin();
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  const auto responses = host.events(HostEvent::response);
  ASSERT_EQ(responses.size(), 1U);
  EXPECT_EQ(responses[0].code, -10003);
  EXPECT_EQ(responses[0].text, "third_share timeout cb");
}

TEST_F(Login, AFlaggedSessionEndsThePollingAsItsFlagSays) {
  network.answer("/code", R"({"code":0,"data":{"status":0}})");
  start();
  SessionFlags flags;
  flags.canceled = true;
  AuthorizeTestAccess::putSession(*manager, context().cacheEntries[0]->userUuid, flags);
  ASSERT_TRUE(runUntil([&] { return !logger->linesWith("third_share, user canceled,use ms: ").empty(); }));
  manager->cancelLogin();
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_TRUE(host.events(HostEvent::response).empty());
}

TEST_F(Login, ANewLoginTakesTheCanceledFlagBack) {
  signIn("u");
  SessionFlags flags;
  flags.canceled = true;
  AuthorizeTestAccess::putSession(*manager, "u", flags);
  start();
  EXPECT_EQ(manager->isCanceled("u"), 0);
  finish();
}

TEST_F(Login, MayStartAgainWhileAnEarlierOneRuns) {
  start();
  start();
  EXPECT_EQ(AuthorizeTestAccess::liveRequests(*manager), 2U);
  finish();
  EXPECT_EQ(context().cacheEntries.size(), 1U);
}

TEST_F(Login, ATokenOfAHundredThousandCharactersSurvivesTheWholeFlow) {
  const std::string token(100'000, 't');
  network.answer("/code", R"({"code":0,"data":{"status":1,"access_token":")" + token +
                              R"(","refresh_token":"r","open_id":"o","expires_in":3600}})");
  start();
  finish();
  const auto record = *context().cacheEntries.at(0);
  EXPECT_TRUE(record.thirdAccessToken == token);
  EXPECT_TRUE(storedUsers().at(0)->thirdAccessToken == token);
  EXPECT_TRUE(manager->accessToken(record.userUuid) == std::string(8192, 't'));
}
