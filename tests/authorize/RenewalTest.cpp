// Renewals of a token: one of a user at a time, whoever asked, and each with an end.

#include "authorize/ManagerFixture.h"
#include "authorize/managerLog.h"
#include "boundary/records/Records.h"
#include "requests/AccountRequests.h"
#include "support/NoThreads.h"
#include "support/WaitUntil.h"
#include <BsNet/BsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <atomic>
#include <optional>
#include <thread>

using namespace KBL;

namespace {
constexpr const char* withoutToken = R"({"code":0,"data":{"expires_in":3600}})";
constexpr const char* withoutRefreshToken =
    R"({"code":0,"data":{"access_token":"third-2","expires_in":7200}})";

class Renewal : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  /// A verification whose token request waits for its answer.
  void startHeldVerification() {
    signIn("u");
    network.hold("/token");
    ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
    ASSERT_TRUE(network.waitForExchanges("/token", 1));
  }
  /// Lets the held answer come and waits for the end of everything that it leads to.
  void finishHeld() {
    network.open("/token");
    ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  }
  [[nodiscard]] std::vector<HostEvent> responses(int infoType) const {
    auto found = host.events(HostEvent::response);
    std::erase_if(found, [&](const HostEvent& event) { return event.infoType != infoType; });
    return found;
  }
  [[nodiscard]] std::size_t linesWithoutResult() const {
    const auto lines = logger->linesWith("refresh without result");
    for (const LogLine& line : lines) {
      EXPECT_EQ(line.text, tag + ", refresh without result, try again");
      EXPECT_EQ(line.severity, IBsLogger::severityWarning);
    }
    return lines.size();
  }
  /// The refresher waits for its next try as it does after a failure.
  void expectRetry() const {
    EXPECT_EQ(proxy("u")->refreshIntervalMs(), 120'000);
    EXPECT_FALSE(proxy("u")->refreshing());
  }
};
}  // namespace

// --- One at a time

TEST_F(Renewal, TwoVerificationsShareOneAndAreAnsweredOnceEach) {
  startHeldVerification();
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  EXPECT_EQ(manager->toVerifyAccessToken(""), resultOk);
  finishHeld();
  EXPECT_EQ(network.exchanges("/credentials").size(), 1U);
  EXPECT_EQ(network.exchanges("/token").size(), 1U);
  const auto answers = responses(infoTypeVerifyAccessToken);
  ASSERT_EQ(answers.size(), 3U);
  for (const HostEvent& answer : answers) {
    EXPECT_EQ(answer.code, 0);
    EXPECT_EQ(answer.requestName, "ExternlMediaAuthUserSupportToken");
    EXPECT_EQ(answer.requestUuid, "u");
    EXPECT_EQ(answer.infoUuid, "u");
    EXPECT_EQ(answer.refreshToken, "refresh-2");
  }
  EXPECT_EQ(host.events(HostEvent::tokenChanged).size(), 1U);
}

TEST_F(Renewal, AVerificationWaitsForABackgroundRefresh) {
  startHeldRefresh("u");
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  finishHeld();
  EXPECT_EQ(network.exchanges("/token").size(), 1U);
  ASSERT_EQ(host.events(HostEvent::response).size(), 1U);
  const HostEvent answer = host.events(HostEvent::response)[0];
  EXPECT_EQ(answer.infoType, infoTypeVerifyAccessToken);
  EXPECT_EQ(answer.code, 0);
  EXPECT_EQ(answer.refreshToken, "refresh-2");
  EXPECT_FALSE(proxy("u")->refreshing());
}

TEST_F(Renewal, AFailedRefreshIsToldAsSuchAndAnswersWhoWaits) {
  network.answer("/token", R"({"code":7,"msg":"no"})");
  startHeldRefresh("u");
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  finishHeld();
  EXPECT_EQ(responses(infoTypeRefreshToken).size(), 1U);
  ASSERT_EQ(responses(infoTypeVerifyAccessToken).size(), 1U);
  EXPECT_EQ(responses(infoTypeVerifyAccessToken)[0].code, 7);
  EXPECT_EQ(responses(infoTypeVerifyAccessToken)[0].refreshToken, "refresh-u");
  expectRetry();
}

TEST_F(Renewal, AFailedFirstStepAnswersWhoWaits) {
  signIn("u");
  network.hold("/credentials");
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(network.waitForExchanges("/credentials", 1));
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  network.answer("/credentials", R"({"code":9,"msg":"no account"})");
  network.open("/credentials");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  ASSERT_EQ(host.events().size(), 2U);
  for (const HostEvent& answer : responses(infoTypeVerifyAccessToken)) EXPECT_EQ(answer.code, 9);
}

TEST_F(Renewal, ATickWaitsForAVerification) {
  startHeldRefresh("u");  // leaves a refresher
  finishHeld();
  const std::size_t before = network.exchanges("/token").size();
  AuthorizeTestAccess::setEntries(*manager, {makeUser("u", nowSeconds() + 1'000'000)});
  network.hold("/token");
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(network.waitForExchanges("/token", before + 1));
  const auto refresher = proxy("u");
  refresher->setRefreshInterval(0);
  ASSERT_TRUE(runUntil([&] { return refresher->refreshing(); }));
  EXPECT_EQ(manager->cbAsyncRefreshAccessToken("u"), 0);
  EXPECT_EQ(network.exchanges("/token").size(), before + 1);
  EXPECT_EQ(logger->linesWith("refreshAccessToken").size(), 1U);
  finishHeld();
  EXPECT_FALSE(refresher->refreshing());
  EXPECT_EQ(refresher->refreshIntervalMs(), 3'300'000);
}

TEST_F(Renewal, UsersAreRenewedBesideEachOther) {
  startHeldVerification();
  signIn("v");
  EXPECT_EQ(manager->toVerifyAccessToken("v"), resultOk);
  EXPECT_TRUE(network.waitForExchanges("/token", 2));
  finishHeld();
  EXPECT_EQ(responses(infoTypeVerifyAccessToken).size(), 2U);
}

TEST_F(Renewal, AVerificationInTheAnswersCallbackBeginsANewOne) {
  std::atomic<bool> again{false};
  host.inside = [&](const HostEvent& event) {
    if (event.kind == HostEvent::response && !again.exchange(true)) {
      EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
    }
  };
  signIn("u");
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 2));
  const auto asked = network.exchanges("/token");
  ASSERT_EQ(asked.size(), 2U);
  EXPECT_NE(asked[1].body.find("refresh-2"), std::string::npos);
}

TEST_F(Renewal, VerificationsFromManyThreadsNeverSpendATokenTwice) {
  std::atomic<int> answers{0};
  network.answer("/token", [&](const SentExchange& request) {
    const std::string spent = "refresh-" + std::to_string(answers.load());
    EXPECT_NE(request.body.find('"' + spent + '"'), std::string::npos) << request.body;
    const std::string next = std::to_string(++answers);
    return okReply(R"({"code":0,"data":{"access_token":"third-)" + next + R"(","refresh_token":"refresh-)" +
                   next + R"(","expires_in":3600}})");
  });
  auto user = makeUser("u", nowSeconds() + 1'000'000);
  user.refreshToken = "refresh-0";
  AuthorizeTestAccess::setEntries(*manager, {user});
  constexpr int perThread = 10;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int round = 0; round < perThread; ++round) {
        EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
        EXPECT_EQ(manager->cbAsyncRefreshAccessToken("u") & ~1, 0);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  EXPECT_EQ(responses(infoTypeVerifyAccessToken).size(), 4U * perThread);
  EXPECT_EQ(this->user("u").refreshToken, "refresh-" + std::to_string(answers.load()));
}

// --- Without a result

TEST_F(Renewal, ARefreshWithoutATokenIsTriedAgainAfterTwoMinutes) {
  network.answer("/token", withoutToken);
  startHeldRefresh("u");
  proxy("u")->setRefreshInterval(3'300'000);
  finishHeld();
  EXPECT_EQ(linesWithoutResult(), 1U);
  EXPECT_TRUE(host.events().empty());
  expectRetry();
  EXPECT_EQ(user("u").thirdAccessToken, "third-u");
  EXPECT_EQ(user("u").refreshToken, "refresh-u");
  ASSERT_TRUE(runUntil([&] { return network.exchanges("/token").size() == 2; }, 30'000));
}

TEST_F(Renewal, AVerificationWithoutATokenIsToldWithCodeZeroAndTriedAgain) {
  network.answer("/token", withoutToken);
  signIn("u");
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 1));
  EXPECT_EQ(responses(infoTypeVerifyAccessToken).at(0).code, 0);
  EXPECT_EQ(linesWithoutResult(), 1U);
  expectRetry();
}

TEST_F(Renewal, AnAnswerWithoutARefreshTokenKeepsTheStoredOne) {
  for (const char* const answer :
       {withoutRefreshToken,
        R"({"code":0,"data":{"access_token":"third-3","refresh_token":"","expires_in":7200}})",
        R"({"code":0,"data":{"access_token":"third-4","refresh_token":5,"expires_in":7200}})"}) {
    network.answer("/token", answer);
    AuthorizeTestAccess::setEntries(*manager, {makeUser("u", nowSeconds() + 10)});
    const std::size_t before = host.events(HostEvent::response).size();
    ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
    ASSERT_TRUE(host.waitFor(HostEvent::response, before + 1));
    EXPECT_EQ(user("u").refreshToken, "refresh-u") << answer;
    EXPECT_EQ(user("u").thirdAccessToken.rfind("third-", 0), 0U);
    EXPECT_EQ(proxy("u")->refreshIntervalMs(), 6'900'000);
    EXPECT_FALSE(proxy("u")->refreshing());
  }
  EXPECT_EQ(linesWithoutResult(), 0U);
}

// The manager made last owns the entries of the interfaces; with its end the answers of the others are
// dropped.
TEST_F(Renewal, ARefreshWhoseAnswerIsDroppedIsTriedAgain) {
  auto* const last = getOrCreateExternlMediaAuthorize(ema_tiktok);
  startHeldRefresh("u");
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  last->Release();
  network.open("/token");
  ASSERT_TRUE(runUntil([&] { return linesWithoutResult() == 1; }, 100));
  expectRetry();
  EXPECT_TRUE(host.events().empty());

  auto* const next = getOrCreateExternlMediaAuthorize(ema_tiktok);
  ASSERT_TRUE(runUntil([&] { return !host.events(HostEvent::tokenChanged).empty(); }, 30'000));
  next->Release();
}

#if defined(__GLIBC__)
TEST_F(Renewal, ARefreshWhoseSecondStepCannotStartIsTriedAgain) {
  armRefresh("u");
  std::optional<NoThreads> noThreads;
  network.answer("/credentials", [&](const SentExchange&) {
    noThreads.emplace();
    return okReply(R"({"code":0,"data":{"access_token":"account-token","expires_in":7200}})");
  });
  ASSERT_TRUE(runUntil([&] { return !network.exchanges("/credentials").empty(); }, 60'000));
  ASSERT_TRUE(waitUntil([&] { return !proxy("u")->refreshing(); }));
  ASSERT_TRUE(waitUntil([&] { return requestsAlive() == 0; }));
  noThreads.reset();
  expectRetry();
  EXPECT_TRUE(network.exchanges("/token").empty());
  network.answer("/credentials", R"({"code":0,"data":{"access_token":"account-token","expires_in":7200}})");
  AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", makeInfo(infoTypeRefreshToken).get(), false);
  ASSERT_TRUE(runUntil([&] { return !network.exchanges("/token").empty(); }, 30'000));
}

TEST_F(Renewal, AVerificationWhoseSecondStepCannotStartIsAnsweredOnce) {
  signIn("u");
  std::optional<NoThreads> noThreads;
  network.answer("/credentials", [&](const SentExchange&) {
    EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
    noThreads.emplace();
    return okReply(R"({"code":0,"data":{"access_token":"account-token","expires_in":7200}})");
  });
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 2));
  ASSERT_TRUE(waitUntil([&] { return requestsAlive() == 0; }));
  noThreads.reset();
  ASSERT_EQ(host.events().size(), 2U);
  for (const HostEvent& answer : responses(infoTypeVerifyAccessToken)) {
    EXPECT_NE(answer.code, 0);
    EXPECT_EQ(answer.requestName, "ExternlMediaAuthUserSupportToken");
    EXPECT_EQ(answer.infoUuid, "u");
    EXPECT_EQ(answer.refreshToken, "refresh-u");
  }
}

TEST_F(Renewal, AVerificationThatCannotStartIsRefusedAndTheNextOneRuns) {
  signIn("u");
  {
    const NoThreads noThreads;
    EXPECT_EQ(manager->toVerifyAccessToken("u"), resultFailed);
  }
  EXPECT_TRUE(host.events().empty());
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  EXPECT_TRUE(host.waitFor(HostEvent::response, 1));
}

// A login that was canceled is told of no more, but what its last callback starts is no part of it.
TEST_F(Renewal, AVerificationThatWaitsInACanceledLoginsCallbackIsAnswered) {
  armRefresh("u");
  const std::string begun = tag + ", " + secureInfoText("refreshAccessToken", "refresh-u");
  logger->doInside(begun, [&] { EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk); });
  std::atomic<bool> hasThreadsAgain{false};
  host.inside = [&](const HostEvent& event) {
    if (event.kind != HostEvent::loginUrl) return;
    manager->cancelLogin();
    {
      const NoThreads noThreads;
      EXPECT_EQ(manager->cbAsyncRefreshAccessToken("u"), 1);
    }
    hasThreadsAgain = true;
  };
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 1));
  ASSERT_TRUE(waitUntil([&] { return hasThreadsAgain.load(); }));
  EXPECT_EQ(responses(infoTypeVerifyAccessToken).size(), 1U);
  EXPECT_NE(responses(infoTypeVerifyAccessToken)[0].code, 0);
}

TEST_F(Renewal, ARefresherWithoutAThreadSaysSoAndStartsWithTheNextAnswer) {
  signIn("u");
  {
    const NoThreads noThreads;
    AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", makeInfo(infoTypeRefreshToken).get(), false);
  }
  const auto lines = logger->linesWith("timer not started");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, tag + ", uuid: u, refresh timer not started");
  EXPECT_EQ(lines[0].severity, IBsLogger::severityError);
  AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", makeInfo(infoTypeRefreshToken).get(), false);
  EXPECT_TRUE(runUntil([&] { return !host.events(HostEvent::tokenChanged).empty(); }, 30'000));
}
#endif
