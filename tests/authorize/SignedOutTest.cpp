// A user who has signed out does not come back by what was still on its way.

#include "authorize/ManagerFixture.h"
#include "boundary/records/Records.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

using namespace KBL;

namespace {
class SignedOut : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  /// A login whose first poll waits for its answer.
  void startHeldPoll() {
    network.hold("/code");
    const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
    ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
    ASSERT_TRUE(runUntil([&] { return !network.exchanges("/code").empty(); }));
  }
  /// Inside that line, which stands between two parts of an answer.
  void signOutInsideLine(const std::string& text) {
    logger->doInside(tag + text, [&] { EXPECT_EQ(manager->logout("u"), resultOk); });
  }
  void expectOneLineAndNothingOfTheUser() const {
    EXPECT_EQ(logger->linesWith(tag + ", uuid: u, signed out, late answer dropped").size(), 1U);
    EXPECT_TRUE(context().cacheEntries.empty());
    EXPECT_TRUE(storedUsers().empty());
    EXPECT_EQ(proxy("u"), nullptr);
  }
};
}  // namespace

TEST_F(SignedOut, AnAnswerAfterLogoutRevivesNothing) {
  startHeldRefresh("u");
  whileTimeRuns([&] { EXPECT_EQ(manager->logout("u"), resultOk); });
  EXPECT_EQ(proxy("u"), nullptr);
  network.open("/token");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  EXPECT_TRUE(context().cacheEntries.empty());
  EXPECT_TRUE(storedUsers().empty());
  EXPECT_EQ(proxy("u"), nullptr);
  EXPECT_TRUE(host.events().empty());
  const auto lines = logger->linesWith(", signed out");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, tag + ", uuid: u, signed out, late answer dropped");
  EXPECT_EQ(lines[0].severity, IBsLogger::severityInfo);
}

TEST_F(SignedOut, ALogoutBetweenTheTokenAndTheRefresherIsToldOnce) {
  startHeldRefresh("u");
  signOutInsideLine(", name: ExternlMediaAuthUserSupportToken, infoType: 401");
  network.open("/token");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 50));
  EXPECT_EQ(host.events(HostEvent::tokenChanged).size(), 1U);
  expectOneLineAndNothingOfTheUser();
}

TEST_F(SignedOut, ALogoutBeforeTheTokenEventDropsItAndTheRefresherWithOneLine) {
  startHeldRefresh("u");
  signOutInsideLine(", save cloud disk cache, OK");
  network.open("/token");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 50));
  EXPECT_TRUE(host.events().empty());
  expectOneLineAndNothingOfTheUser();
}

TEST_F(SignedOut, ALogoutBeforeTheTokenEventOfALoginIsToldOnce) {
  signIn("u");
  startHeldPoll();
  signOutInsideLine(", save cloud disk cache, OK");
  network.open("/code");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_TRUE(host.events(HostEvent::tokenChanged).empty());
  expectOneLineAndNothingOfTheUser();
}

TEST_F(SignedOut, EachLateAnswerHasALineOfItsOwn) {
  armRefresh("u");
  network.hold("/credentials");
  ASSERT_TRUE(runUntil([&] { return !network.exchanges("/credentials").empty(); }, 60'000));
  whileTimeRuns([&] { EXPECT_EQ(manager->logout("u"), resultOk); });
  network.open("/credentials");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 50));
  EXPECT_EQ(network.exchanges("/token").size(), 1U);
  EXPECT_EQ(logger->linesWith(", signed out, late answer dropped").size(), 2U);
}

// A refresher that was stopped and stands all the same, since the list could not be changed without memory.
TEST_F(SignedOut, AStoppedRefresherIsReplacedWhenItsUserIsBack) {
  armRefresh("u");
  const auto former = proxy("u");
  former->waitToStop(0);
  AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", makeInfo(infoTypeRefreshToken).get(), false);
  EXPECT_NE(proxy("u"), former);
  ASSERT_TRUE(runUntil([&] { return !host.events(HostEvent::tokenChanged).empty(); }, 60'000));
}

TEST_F(SignedOut, AnAnswerAfterLogoutLeavesTheOtherUsersAlone) {
  startHeldRefresh("u");
  signIn("v");
  whileTimeRuns([&] { manager->logout("u"); });
  network.open("/token");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  ASSERT_EQ(context().cacheEntries.size(), 1U);
  EXPECT_EQ(user("v").thirdAccessToken, "third-v");
}

TEST_F(SignedOut, AVerificationOfAUserWhoSignsOutMeanwhileIsAnsweredOnce) {
  signIn("u");
  network.hold("/token");
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(network.waitForExchanges("/token", 1));
  EXPECT_EQ(manager->logout("u"), resultOk);
  network.open("/token");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  EXPECT_EQ(host.events(HostEvent::response).at(0).infoType, infoTypeVerifyAccessToken);
  EXPECT_EQ(host.events(HostEvent::response).at(0).code, 0);
  EXPECT_TRUE(host.events(HostEvent::tokenChanged).empty());
  EXPECT_TRUE(context().cacheEntries.empty());
  EXPECT_EQ(proxy("u"), nullptr);
}

TEST_F(SignedOut, AUserWhoIsInTheListAgainIsRenewedAsBefore) {
  armRefresh("u");
  EXPECT_EQ(manager->logout("u"), resultOk);
  armRefresh("u");
  ASSERT_TRUE(runUntil([&] { return !host.events(HostEvent::tokenChanged).empty(); }, 60'000));
  EXPECT_EQ(user("u").thirdAccessToken, "third-2");
}

TEST_F(SignedOut, ATokenEventOfAUserWhoSignsOutInAnEarlierCallbackIsNotTold) {
  HostRecorder second;
  manager->addAuthCallback(&second);
  host.inside = [&](const HostEvent& event) {
    if (event.kind == HostEvent::tokenChanged) manager->logout("u");
  };
  signIn("u");
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  EXPECT_EQ(host.events(HostEvent::tokenChanged).size(), 1U);
  EXPECT_TRUE(second.events(HostEvent::tokenChanged).empty());
  EXPECT_EQ(second.events(HostEvent::response).size(), 1U);
  manager->removeAuthCallback(&second);
}

TEST_F(SignedOut, AFailureAfterLogoutRevivesNothing) {
  network.answer("/token", R"({"code":7,"msg":"no"})");
  startHeldRefresh("u");
  whileTimeRuns([&] { manager->logout("u"); });
  network.open("/token");
  ASSERT_TRUE(host.waitFor(HostEvent::response, 1));
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }, 100));
  EXPECT_EQ(proxy("u"), nullptr);
  EXPECT_TRUE(context().cacheEntries.empty());
}

TEST_F(SignedOut, ALoginOfAUserWhoSignsOutEndsInSilenceAndStoresNothing) {
  signIn("u");
  startHeldPoll();
  EXPECT_EQ(manager->logout("u"), resultOk);
  network.open("/code");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(host.events().size(), 1U);
  EXPECT_TRUE(context().cacheEntries.empty());
  EXPECT_TRUE(storedUsers().empty());
  EXPECT_EQ(logger->linesWith("third_share, third_share, abort,use ms: ").size(), 1U);
}

TEST_F(SignedOut, ALoginThatBeginsWhileItsUserSignsOutEndsInSilence) {
  signIn("u");
  network.hold("/credentials");
  logger->doInside(tag + ", remove session id: u", [&] {
    AuthorizeTestAccess::setEntries(*manager, {makeUser("u", 1)});  // as if it had begun before
    const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
    EXPECT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
    AuthorizeTestAccess::setEntries(*manager, {});
  });
  EXPECT_EQ(manager->logout("u"), resultOk);
  EXPECT_EQ(AuthorizeTestAccess::liveRequests(*manager), 0U);
  network.open("/credentials");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_TRUE(network.exchanges("/session").empty());
  EXPECT_TRUE(host.events().empty());
}

TEST_F(SignedOut, ALoginWhoseUserSignsOutBeforeItsFirstRequestEndsInSilence) {
  signIn("u");
  logger->doInside(tag + ", uuid: u", [&] { EXPECT_EQ(manager->logout("u"), resultOk); });
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  EXPECT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
  EXPECT_EQ(AuthorizeTestAccess::liveRequests(*manager), 0U);
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_TRUE(network.exchanges("/session").empty());
  EXPECT_TRUE(host.events().empty());
  EXPECT_TRUE(context().cacheEntries.empty());
}
