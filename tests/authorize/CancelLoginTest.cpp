// What becomes of a running login when the host gives it up.

#include "authorize/ManagerFixture.h"
#include "boundary/records/Records.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

using namespace KBL;

namespace {
class CancelLogin : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  /// A login whose address the host has heard.
  void startPolling() {
    const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
    ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
    ASSERT_TRUE(host.waitFor(HostEvent::loginUrl, 1));
  }
};
}  // namespace

TEST_F(CancelLogin, CancelMarksTheSessionsOfAllUsers) {
  AuthorizeTestAccess::setEntries(*manager, {makeUser("a", 1), makeUser("b", 1)});
  SessionFlags flags;
  flags.finished = true;
  AuthorizeTestAccess::putSession(*manager, "a", flags);
  AuthorizeTestAccess::putSession(*manager, "nobody", flags);
  EXPECT_EQ(manager->cancelLogin(), resultOk);
  EXPECT_EQ(manager->isCanceled("a"), 1);
  EXPECT_EQ(manager->isFinished("a"), 0);
  EXPECT_EQ(manager->isCanceled("b"), 0);
  EXPECT_EQ(manager->isFinished("nobody"), 1);
  EXPECT_EQ(context().sessions.size(), 2U);
}

TEST_F(CancelLogin, CancelDuringTheFirstStepEndsTheLoginInSilence) {
  startHeldLogin();
  EXPECT_EQ(AuthorizeTestAccess::liveRequests(*manager), 1U);
  manager->cancelLogin();
  EXPECT_EQ(AuthorizeTestAccess::liveRequests(*manager), 0U);
  network.open("/credentials");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_TRUE(network.exchanges("/session").empty());
  EXPECT_TRUE(host.events().empty());
}

TEST_F(CancelLogin, CancelGivesTheListsReferenceBackHalfASecondLater) {
  startHeldLogin();
  auto login = AuthorizeTestAccess::lastLiveRequest(*manager);
  ASSERT_TRUE(login);
  const auto references = [&] {
    login->AddRef();
    return login->Release();
  };
  const int before = references();

  manager->cancelLogin();

  ASSERT_TRUE(time->waitForWaiters(1));
  time->advance(499);
  ASSERT_TRUE(time->waitForWaiters(1)) << "it still sleeps";
  EXPECT_EQ(references(), before);
  time->advance(1);
  EXPECT_TRUE(waitUntil([&] { return references() == before - 1; }));
  login.reset();
  network.open("/credentials");
}

TEST_F(CancelLogin, CancelDuringTheSecondStepEndsTheLoginInSilence) {
  network.hold("/session");
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
  ASSERT_TRUE(network.waitForExchanges("/session", 1));
  manager->cancelLogin();
  network.answer("/session", R"({"code":7,"msg":"no"})");
  network.open("/session");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_TRUE(host.events().empty());
}

TEST_F(CancelLogin, CancelDuringThePollingEndsItAtTheNextTick) {
  network.answer("/code", R"({"code":0,"data":{"status":0}})");
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::loginUrl, 1));
  ASSERT_TRUE(runUntil([&] { return network.exchanges("/code").size() >= 2; }));
  manager->cancelLogin();
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(logger->linesWith("third_share, third_share, abort,use ms: ").size(), 1U);
  EXPECT_EQ(host.events().size(), 1U);
}

TEST_F(CancelLogin, CancelBeforeAFailedFirstStepIsHeardOfNoMore) {
  startHeldLogin();
  network.answer("/credentials", R"({"code":9,"msg":"no account"})");
  manager->cancelLogin();
  network.open("/credentials");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_TRUE(host.events().empty());
}

TEST_F(CancelLogin, CancelBeforeTheAddressHasComeKeepsItFromTheHost) {
  network.hold("/session");
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
  ASSERT_TRUE(network.waitForExchanges("/session", 1));
  manager->cancelLogin();
  network.open("/session");
  ASSERT_TRUE(logger->waitForLineWith("login url: http://fake.test/open"));
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_TRUE(host.events().empty());
  EXPECT_EQ(logger->linesWith("third_share, third_share, abort,use ms: ").size(), 1U);
}

TEST_F(CancelLogin, CancelBeforeAPollsFailureEndsThePollingAsToldInSilence) {
  network.hold("/code");
  startPolling();
  ASSERT_TRUE(runUntil([&] { return !network.exchanges("/code").empty(); }));
  manager->cancelLogin();
  network.answer("/code", R"({"code":7,"msg":"gone"})");
  network.open("/code");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(logger->linesWith("third_share, 7,gone,use ms: ").size(), 1U);
  EXPECT_TRUE(host.events(HostEvent::response).empty());
}

TEST_F(CancelLogin, CancelBeforeTheTimeLimitEndsThePollingAsToldInSilence) {
  network.hold("/code");
  startPolling();
  ASSERT_TRUE(runUntil([&] { return !network.exchanges("/code").empty(); }));
  manager->cancelLogin();
  time->advance(120'000);
  network.open("/code");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(logger->linesWith("third_share, third_share, timeout1,use ms: ").size(), 1U);
  EXPECT_TRUE(host.events(HostEvent::response).empty());
}

TEST_F(CancelLogin, CancelBeforeAGoodPollTellsOfTheStoredTokenAlone) {
  network.hold("/code");
  startPolling();
  ASSERT_TRUE(runUntil([&] { return !network.exchanges("/code").empty(); }));
  manager->cancelLogin();
  network.open("/code");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(host.events(HostEvent::tokenChanged).size(), 1U);
  EXPECT_EQ(host.events().size(), 2U);
  EXPECT_EQ(context().cacheEntries.at(0)->thirdAccessToken, "third-1");
}

TEST_F(CancelLogin, CancelInACallbackKeepsTheAddressFromTheNextOne) {
  HostRecorder second;
  manager->addAuthCallback(&second);
  host.inside = [&](const HostEvent&) { manager->cancelLogin(); };
  startPolling();
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(host.events().size(), 1U);
  EXPECT_TRUE(second.events().empty());
  manager->removeAuthCallback(&second);
}

TEST_F(CancelLogin, AReportOfTheHostsOwnCallIsHeardBehindACancel) {
  host.inside = [&](const HostEvent& event) {
    if (event.kind != HostEvent::loginUrl) return;
    manager->cancelLogin();
    AuthorizeTestAccess::setEntries(*manager, {});
    EXPECT_EQ(manager->toVerifyAccessToken("u"), resultFailed);
  };
  startPolling();
  EXPECT_TRUE(host.waitFor(HostEvent::response, 1));
}

TEST_F(CancelLogin, CancelLeavesRefreshesAlone) {
  signIn("u");
  network.hold("/token");
  ASSERT_EQ(manager->toVerifyAccessToken("u"), resultOk);
  ASSERT_TRUE(network.waitForExchanges("/token", 1));
  manager->cancelLogin();
  network.open("/token");
  EXPECT_TRUE(host.waitFor(HostEvent::response, 1));
  EXPECT_EQ(host.events(HostEvent::response)[0].code, 0);
}
