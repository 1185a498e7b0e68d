#include "authorize/AccessTokenProxy.h"
#include "authorize/ManagerFixture.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/RecordInterfaces.h>

using namespace KBL;

namespace {
/// A refresher whose manager is unknown, so that every refresh is refused at once.
class AccessTokenProxyAlone : public testing::Test {
 protected:
  ScopedRecordingLogger logger;
  ScopedManualTime time;
  std::shared_ptr<AccessTokenProxy> proxy = std::make_shared<AccessTokenProxy>("u", "nobody.1");
};
}  // namespace

TEST_F(AccessTokenProxyAlone, StartsWithTheLowerLimitAndBothFlagsClear) {
  EXPECT_EQ(proxy->refreshIntervalMs(), 900000);
  EXPECT_FALSE(proxy->refreshing());
  EXPECT_FALSE(proxy->stopping());
}

TEST_F(AccessTokenProxyAlone, LogsItsInterval) {
  proxy->setRefreshInterval(-300000);
  EXPECT_EQ(proxy->refreshIntervalMs(), -300000);
  const auto lines = logger->lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "diks_id, nobody.1, uuid: urefresh interval:-300000 ms");
  EXPECT_EQ(lines[0].severity, IBsLogger::severityInfo);
}

TEST_F(AccessTokenProxyAlone, StoppingLogsAndSetsTheFlag) {
  proxy->waitToStop(0);
  EXPECT_TRUE(proxy->stopping());
  EXPECT_TRUE(logger->hasLine("waiting to stop..."));
}

TEST_F(AccessTokenProxyAlone, StoppingDoesNotSleepWithoutARefreshUnderWay) {
  proxy->waitToStop(100);  // the clock stands still: a sleep would last for ever
  EXPECT_TRUE(proxy->stopping());
}

TEST_F(AccessTokenProxyAlone, DiesWithItsTimer) {
  proxy->start();
  ASSERT_TRUE(time->waitForWaiters(1));
  proxy.reset();
  EXPECT_TRUE(time->advanceUntil([&] { return time->waiters() == 0; }, 1));
}

namespace {
class Refresher : public ManagerFixture {
 protected:
  void SetUp() override {
    makeManager();
    signIn("u");
    const auto info = makeInfo(infoTypeRefreshToken);
    AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", info.get(), false);
    proxy = AuthorizeTestAccess::tokenProxy(*manager, "u");
    ASSERT_TRUE(time->waitForWaiters(1));
  }
  void TearDown() override {
    proxy.reset();
    ManagerFixture::TearDown();
  }

  std::shared_ptr<AccessTokenProxy> proxy;
};
}  // namespace

TEST_F(Refresher, DoesNothingUntilTheIntervalHasPassed) {
  time->advance(119'999);
  time->advance(0);
  EXPECT_TRUE(network.exchanges("/credentials").empty());
  network.hold("/token");
  ASSERT_TRUE(runUntil([&] { return proxy->refreshing(); }, 30'000));
  EXPECT_TRUE(network.waitForExchanges("/token", 1));
  network.open("/token");
}

TEST_F(Refresher, StartsNoSecondRefreshWhileOneIsUnderWay) {
  network.hold("/token");
  ASSERT_TRUE(runUntil([&] { return proxy->refreshing(); }, 30'000));
  ASSERT_TRUE(network.waitForExchanges("/token", 1));
  for (int minutes = 0; minutes < 10; ++minutes) time->advance(60'000);
  EXPECT_EQ(network.exchanges("/credentials").size(), 1U);
  network.open("/token");
  EXPECT_TRUE(runUntil([&] { return !proxy->refreshing(); }));
}

TEST_F(Refresher, LooksTwiceASecondWhetherItsTimeHasCome) {
  proxy->setRefreshInterval(0);
  network.hold("/credentials");
  time->advance(499);
  ASSERT_TRUE(time->waitForWaiters(1));
  EXPECT_TRUE(logger->linesWith("refreshAccessToken").empty());
  time->advance(1);
  EXPECT_TRUE(logger->waitForLineWith("refreshAccessToken"));
  network.open("/credentials");
}

TEST_F(Refresher, ARefusedRefreshClearsTheFlagAndWaitsForTheNextInterval) {
  const auto refusals = [&] { return logger->linesWith(" is not exist").size(); };
  AuthorizeTestAccess::setEntries(*manager, {});
  time->advance(120'000);
  ASSERT_TRUE(waitUntil([&] { return refusals() == 1; }));
  ASSERT_TRUE(time->waitForWaiters(1)) << "the tick is over";
  EXPECT_FALSE(proxy->refreshing());
  time->advance(119'500);
  ASSERT_TRUE(time->waitForWaiters(1));
  EXPECT_EQ(refusals(), 1U);
  time->advance(500);
  EXPECT_TRUE(waitUntil([&] { return refusals() == 2; }));
  EXPECT_TRUE(network.exchanges("/credentials").empty());
}

TEST_F(Refresher, AStoppedOneRefreshesNoMore) {
  proxy->waitToStop(0);
  EXPECT_TRUE(runUntil([&] { return time->waiters() == 0; }, 60'000));
  EXPECT_TRUE(network.exchanges("/credentials").empty());
}
