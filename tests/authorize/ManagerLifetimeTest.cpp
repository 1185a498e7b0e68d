// How a manager ends: in the table, in the switchboard, under workers and inside callbacks.

#include "authorize/ManagerFixture.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/ExternlMediaTransfer.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "support/WaitUntil.h"

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

/// Hears of an object's end and runs `inside` there.
class EndListener final : public IDmProtocol {
 public:
  explicit EndListener(std::function<void()> inside) : inside_(std::move(inside)) {}
  void onLastRelease(IDmBaseObj*) override {
    ++calls;
    inside_();
  }
  int calls = 0;

 private:
  std::function<void()> inside_;
};
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
    EXPECT_EQ(line.severity, IBsLogger::info);
    texts.push_back(line.text);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{tag + ", before destroy", tag + ", release destroy",
                                             tag + ", release begin", tag + ", release end"}));
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
  EndListener listener([&] {
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
  EndListener listener([&] { EXPECT_EQ(ending->queryResponse(nullptr, nullptr, nullptr), resultFailed); });
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
    EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 1);  // the forwarder's reference is left
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
    const std::size_t before = network.requests(held).size();
    network.hold(held);
    const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
    ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
    ASSERT_TRUE(network.waitForRequests(held, before + 1));
    releaseManager();
    network.open(held);
    EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  }
  EXPECT_TRUE(host.events().empty());
}

namespace {
/// Holds the thread that logs a refresh, which its tick does while it holds the manager, until `mayGo`.
class HoldingLogger final : public IBsLogger {
 public:
  explicit HoldingLogger(RecordingLogger& kept) : kept_(kept) {}
  bool testSeverity(Severity) override { return true; }
  void write(Severity severity, const char* file, int line, const char* function,
             const std::string& text) override {
    kept_.write(severity, file, line, function, text);
    if (text.find(", release end") != std::string::npos) ended = true;
    if (text.find("refreshAccessToken") == std::string::npos) return;
    inTick = true;
    EXPECT_TRUE(waitUntil([&] { return mayGo.load(); }));
  }

  std::atomic<bool> inTick{false};
  std::atomic<bool> mayGo{false};
  std::atomic<bool> ended{false};

 private:
  RecordingLogger& kept_;
};
}  // namespace

TEST_F(ManagerLifetime, TheLastReferenceMayGoOnTheTimerThreadOfARefresher) {
  signIn("u");
  const auto info = makeInfo(infoTypeRefreshToken);
  AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", info.get(), false);
  network.hold("/credentials");
  const auto holding = std::make_shared<HoldingLogger>(*logger);
  installLogger(holding);
  ASSERT_TRUE(runUntil([&] { return holding->inTick.load(); }, 60'000));
  EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 1);
  holding->mayGo = true;
  EXPECT_TRUE(runUntil([&] { return holding->ended.load(); }, 50));
  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
  network.open("/credentials");
  EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0 && time->waiters() == 0; }));
  installLogger(nullptr);  // the one that stands behind it ends with this test
}
