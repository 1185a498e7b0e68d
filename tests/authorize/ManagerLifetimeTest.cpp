// How a manager ends: in the table, in the switchboard, under workers and inside callbacks.

#include "authorize/ManagerFixture.h"
#include "authorize/managerLog.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "support/Flag.h"
#include "support/LastRelease.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <atomic>

using namespace KBL;

namespace {
class ManagerLifetime : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  static ExternlMediaAuthCallbackProxy& switchboard() { return ExternlMediaAuthCallbackProxy::instance(); }
};

int instanceNumber(const std::string& tag) {
  return std::stoi(tag.substr(tag.find('.') + 1));
}

}  // namespace

TEST_F(ManagerLifetime, ASecondCallGivesTheSameManagerAndNoReference) {
  EXPECT_EQ(getOrCreateExternlMediaAuthorize(ema_youtube), manager);
  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), manager);
  EXPECT_EQ(manager->AddRef(), 2);
  EXPECT_EQ(manager->Release(), 1);
}

TEST_F(ManagerLifetime, AfterTheLastReleaseTheNextManagerBearsAHigherNumber) {
  const int first = instanceNumber(tag);
  releaseManager();
  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
  makeManager();
  EXPECT_EQ(instanceNumber(tag), first + 1);
}

TEST_F(ManagerLifetime, TheLastReleaseReturnsZeroAndLogsItsSteps) {
  logger->clear();
  EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 0);
  std::vector<std::string> texts;
  for (const LogLine& line : logger->linesWith(tag)) {
    EXPECT_EQ(line.severity, IBsLogger::severityInfo);
    texts.push_back(line.text);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{tag + ", before destroy", tag + ", release destroy",
                                             tag + ", release begin", tag + ", release end"}));
  for (const LogLine& line : logger->linesWith(tag + ", release ")) {
    const bool isOfTheEnd = line.text != tag + ", release destroy";
    EXPECT_EQ(line.function == "KBL::BsExternlMediaAuthorize::~BsExternlMediaAuthorize", isOfTheEnd)
        << line.text;
  }
}

TEST_F(ManagerLifetime, AfterTheLastReleaseTheTagIsUnknown) {
  EXPECT_TRUE(switchboard().knowsOwner(tag));
  releaseManager();
  EXPECT_FALSE(switchboard().knowsOwner(tag));
  EXPECT_FALSE(switchboard().copyAuthContext(tag).has_value());
  EXPECT_EQ(switchboard().cbRequestNotify(tag, "u"), 1);
  EXPECT_TRUE(host.events().empty());
}

TEST_F(ManagerLifetime, TheProtocolIsToldOnceWithNoLockHeld) {
  auto* const ending = manager;
  LastRelease listener([&](IDmBaseObj*) {
    EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
    EXPECT_FALSE(switchboard().knowsOwner(tag));
    auto* const next = getOrCreateExternlMediaAuthorize(ema_youtube);
    EXPECT_NE(next, ending);
    next->Release();
  });
  manager->SetProtocol(&listener);
  manager->AddRef();
  EXPECT_EQ(manager->Release(), 1);
  EXPECT_EQ(listener.calls, 0);
  releaseManager();
  EXPECT_EQ(listener.calls, 1);
}

TEST_F(ManagerLifetime, AResponseThatComesWhileItEndsIsRefused) {
  auto* const ending = manager;
  LastRelease listener(
      [&](IDmBaseObj*) { EXPECT_EQ(ending->queryResponse(nullptr, nullptr, nullptr), resultFailed); });
  manager->SetProtocol(&listener);
  releaseManager();
  EXPECT_EQ(listener.calls, 1);
  EXPECT_TRUE(logger->hasLine(tag + ", nullptr"));
}

TEST_F(ManagerLifetime, AReferenceTakenThroughABorrowedPointerKeepsTheManager) {
  auto* const borrowed = getExternlMediaAuthorize(ema_youtube);
  borrowed->AddRef();
  EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 1);
  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), borrowed);
  EXPECT_TRUE(switchboard().knowsOwner(tag));
  EXPECT_EQ(borrowed->Release(), 0);
  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
}

TEST_F(ManagerLifetime, AHostMayReleaseItInsideACallbackOfAWorker) {
  std::atomic<bool> released{false};
  host.inside = [&](const HostEvent& event) {
    if (event.kind != HostEvent::loginUrl) return;
    EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 0);
    released = true;
  };
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
  EXPECT_TRUE(waitUntil([&] { return released.load(); }));
  EXPECT_TRUE(waitUntil([&] { return getExternlMediaAuthorize(ema_youtube) == nullptr; }));
  EXPECT_TRUE(logger->waitForLineWith(tag + ", release end"));
}

TEST_F(ManagerLifetime, AHostMayReleaseItInsideACallbackOfItsOwnCall) {
  host.inside = [&](const HostEvent&) { std::exchange(manager, nullptr)->Release(); };
  auto* const ending = manager;
  EXPECT_EQ(ending->toVerifyAccessToken(""), resultFailed);
  EXPECT_EQ(host.events().size(), 1U);
  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
}

TEST_F(ManagerLifetime, AHostMayReleaseItInsideACallbackOfLogout) {
  host.inside = [&](const HostEvent&) { std::exchange(manager, nullptr)->Release(); };
  auto* const ending = manager;
  EXPECT_EQ(ending->logout(""), resultFailed);
  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
}

TEST_F(ManagerLifetime, AManagerThatDiesUnderAHeldRequestIsMissedAndNothingIsLeft) {
  for (const char* const held : {"/credentials", "/session"}) {
    if (manager == nullptr) makeManager();
    const std::size_t before = network.exchanges(held).size();
    network.hold(held);
    const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
    ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
    ASSERT_TRUE(network.waitForExchanges(held, before + 1));
    releaseManager();
    network.open(held);
    EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  }
  EXPECT_TRUE(host.events().empty());
}

TEST_F(ManagerLifetime, TheCoreMayGoOnTheTimerThreadOfARefresher) {
  signIn("u");
  const auto info = makeInfo(infoTypeRefreshToken);
  AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", info.get(), false);
  network.hold("/credentials");
  std::atomic<bool> inTick{false};
  Flag mayGo;
  // The tick logs it while it holds the manager.
  logger->doInside(tag + ", " + secureInfoText("refreshAccessToken", "refresh-u"), [&] {
    inTick = true;
    EXPECT_TRUE(mayGo.wait());
  });
  ASSERT_TRUE(runUntil([&] { return inTick.load(); }, 60'000));
  const std::weak_ptr<ISwitchboardManager> core = manager->core();
  std::thread releaser([this] { EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 0); });
  EXPECT_TRUE(runUntil([&] { return logger->hasLine(tag + ", release end"); }, 50));
  releaser.join();
  EXPECT_FALSE(core.expired());
  mayGo.raise();
  EXPECT_TRUE(waitUntil([&] { return core.expired(); }));
  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
  network.open("/credentials");
  EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0 && time->waiters() == 0; }));
}
