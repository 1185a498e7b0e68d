// When a host callback may be called, and what follows from what it does.

#include "authorize/ManagerFixture.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "support/LastRelease.h"
#include "support/WaitUntil.h"
#include <BsNet/BsInfoReader.h>
#include <BsNet/cipher.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/CastByName.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

using namespace KBL;

namespace {
class HostCallbacks : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  static ExternlMediaAuthCallbackProxy& switchboard() { return ExternlMediaAuthCallbackProxy::instance(); }

  /// A worker's call that is inside `host` until `leave`.
  std::thread stayInside() {
    host.inside = [this](const HostEvent&) {
      entered_ = true;
      EXPECT_TRUE(waitUntil([this] { return mayLeave_.load(); }));
      left_ = true;
    };
    std::thread worker([owner = tag] { switchboard().cbRequestNotify(owner, "u"); });
    EXPECT_TRUE(waitUntil([this] { return entered_.load(); }));
    return worker;
  }
  void leave() { mayLeave_ = true; }

  std::atomic<bool> entered_{false};
  std::atomic<bool> mayLeave_{false};
  std::atomic<bool> left_{false};
};
}  // namespace

TEST_F(HostCallbacks, TheLastReleaseWhileAWorkerIsInsideEndsTheManagerAtOnce) {
  const std::string former = tag;
  auto* const ending = manager;
  std::thread worker = stayInside();
  EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 0);

  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
  EXPECT_FALSE(switchboard().knowsOwner(former));
  EXPECT_TRUE(logger->hasLine(former + ", release end"));
  EXPECT_EQ(ending->AddRef(), 0);
  EXPECT_EQ(ending->Release(), 0);
  EXPECT_EQ(ending->platform(), ema_youtube);
  auto* const next = getOrCreateExternlMediaAuthorize(ema_youtube);
  EXPECT_NE(next, ending);
  EXPECT_EQ(next->Release(), 0);
  EXPECT_FALSE(left_);

  leave();
  worker.join();
  EXPECT_EQ(logger->linesWith(former + ", release end").size(), 1U);
}

TEST_F(HostCallbacks, NoneBeginsBehindTheLastReleaseInTheOneBefore) {
  HostRecorder second;
  manager->addAuthCallback(&second);
  host.inside = [this](const HostEvent&) { EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 0); };
  switchboard().cbRequestNotify(tag, "u");
  EXPECT_EQ(host.events().size(), 1U);
  EXPECT_TRUE(second.events().empty());
}

TEST_F(HostCallbacks, TheHostsRecordsGoWithTheLastWhoPassesThrough) {
  LastRelease pubInfoEnd;
  LastRelease proxyEnd;
  {
    const auto pubInfo = adoptRef(createInfoObject(infoObjectPubInfo));
    pubInfo->SetProtocol(&pubInfoEnd);
    manager->setPubParam(queryInterface<IBsPubInfo>(pubInfo.get(), "IBsPubInfo"));
    const auto proxy = adoptRef(createInfoObject(infoObjectServerProxy));
    proxy->SetProtocol(&proxyEnd);
    manager->setServerProxy(queryInterface<IBsServerProxyInfo>(proxy.get(), "IBsServerProxyInfo"));
  }
  std::thread worker = stayInside();
  releaseManager();
  leave();
  worker.join();
  EXPECT_EQ(pubInfoEnd.calls, 1);
  EXPECT_EQ(proxyEnd.calls, 1);
}

namespace {
/// A record of a host's own make whose count, the next time that it moves once armed, asks the manager for
/// something on another thread and waits until that has come back.
class AskingPubInfo final : public BsBaseInfoRW, public virtual IBsPubInfo {
 public:
  explicit AskingPubInfo(std::function<void()> ask) : ask_(std::move(ask)) { BsBaseInfoRW::AddRef(); }
  ~AskingPubInfo() override {
    for (std::thread& thread : threads_) thread.join();
  }

  int AddRef() override {
    askIfArmed();
    return BsBaseInfoRW::AddRef();
  }
  int Release() override {
    askIfArmed();
    return BsBaseInfoRW::Release();
  }
  void* QueryInterfaceByName(const char*) override { return nullptr; }
  _Result removeKey(const char*) override { return resultFailed; }

  void arm() { armed_ = true; }
  /// True when nothing has moved the count since `arm`.
  [[nodiscard]] bool isArmed() const { return armed_; }
  [[nodiscard]] bool everyAnswerCame() const { return everyAnswerCame_; }

 private:
  void askIfArmed() {
    if (!armed_.exchange(false)) return;
    const auto answered = std::make_shared<std::atomic<bool>>(false);
    threads_.emplace_back([this, answered] {
      ask_();
      *answered = true;
    });
    if (!waitUntil([&] { return answered->load(); })) everyAnswerCame_ = false;
  }

  const std::function<void()> ask_;
  std::vector<std::thread> threads_;
  std::atomic<bool> armed_{false};
  std::atomic<bool> everyAnswerCame_{true};
};

RefPtr<IBsServerProxyInfo> makeServerProxy() {
  const auto record = adoptRef(createInfoObject(infoObjectServerProxy));
  return shareRef(queryInterface<IBsServerProxyInfo>(record.get(), "IBsServerProxyInfo"));
}
}  // namespace

TEST_F(HostCallbacks, AHostsRecordIsCountedUnderNoLockOfTheSettings) {
  const auto proxy = makeServerProxy();
  const auto record = adoptRef(new AskingPubInfo([&] { manager->setServerProxy(proxy.get()); }));

  record->arm();
  EXPECT_EQ(manager->setPubParam(record.get()), resultOk);
  EXPECT_FALSE(record->isArmed());

  record->arm();
  EXPECT_EQ(manager->init(directory.file("cache").c_str(), 0), resultOk);
  EXPECT_EQ(manager->setServerProxy(proxy.get()), resultOk);
  EXPECT_TRUE(record->isArmed());

  const auto next = adoptRef(createInfoObject(infoObjectPubInfo));
  EXPECT_EQ(manager->setPubParam(queryInterface<IBsPubInfo>(next.get(), "IBsPubInfo")), resultOk);
  EXPECT_FALSE(record->isArmed());
  EXPECT_TRUE(record->everyAnswerCame());
}

namespace {
/// Runs `inside` ahead of the real store's answer, which a save asks for.
class InterruptingKeyStore final : public IKeyStore {
 public:
  InterruptingKeyStore(std::shared_ptr<IKeyStore> real, std::function<void()> inside)
      : real_(std::move(real)), inside_(std::move(inside)) {}
  std::vector<unsigned char> loadOrCreateKey() override {
    inside_();
    return real_->loadOrCreateKey();
  }

 private:
  const std::shared_ptr<IKeyStore> real_;
  const std::function<void()> inside_;
};
}  // namespace

TEST_F(HostCallbacks, ATokenOnItsWayToTheFileArrivesThoughTheLastReleaseComesMeanwhile) {
  signIn("u");
  const auto real = makeFileKeyStore(directory.file("keys"));
  std::atomic<bool> released{false};
  setKeyStore(std::make_shared<InterruptingKeyStore>(real, [&] {
    if (released.exchange(true)) return;
    std::thread([this] { EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 0); }).join();
  }));
  const auto info = makeInfo(infoTypeMixed, {{ExternlMediaMixedCharKey::thirdAccessToken, "renewed"}});
  EXPECT_EQ(switchboard().updateInfo(tag, "u", info.get()), 0);
  setKeyStore(real);
  EXPECT_TRUE(released);
  EXPECT_TRUE(host.events().empty());
  const auto stored = storedUsers();
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_EQ(stored[0]->thirdAccessToken, "renewed");
}

TEST_F(HostCallbacks, TakingOneAwayWaitsForItsRunningCall) {
  std::thread worker = stayInside();
  std::atomic<bool> removed{false};
  std::thread remover([&] {
    EXPECT_EQ(manager->removeAuthCallback(&host), resultOk);
    EXPECT_TRUE(left_);
    removed = true;
  });
  EXPECT_TRUE(waitUntil([&] { return context().authCallbacks.empty(); }));
  EXPECT_FALSE(removed);
  leave();
  remover.join();
  worker.join();
  switchboard().cbRequestNotify(tag, "u");
  EXPECT_EQ(host.events().size(), 1U);
}

TEST_F(HostCallbacks, TakingOneAwayDoesNotWaitForOthers) {
  HostRecorder other;
  manager->addAuthCallback(&other);
  std::thread worker = stayInside();
  EXPECT_EQ(manager->removeAuthCallback(&other), resultOk);
  EXPECT_FALSE(left_);
  leave();
  worker.join();
  EXPECT_TRUE(other.events().empty());
}

TEST_F(HostCallbacks, OneThatIsTakenAwayInACallIsNotWaitedForAndNotCalledBehindIt) {
  HostRecorder second;
  manager->addAuthCallback(&second);
  host.inside = [&](const HostEvent&) {
    EXPECT_EQ(manager->removeAuthCallback(&host), resultOk);
    EXPECT_EQ(manager->removeAuthCallback(&second), resultOk);
  };
  switchboard().cbRequestNotify(tag, "u");
  EXPECT_EQ(host.events().size(), 1U);
  EXPECT_TRUE(second.events().empty());
  EXPECT_TRUE(context().authCallbacks.empty());
}

TEST_F(HostCallbacks, OneThatThrowsCountsAsReturned) {
  HostRecorder second;
  manager->addAuthCallback(&second);
  host.inside = [](const HostEvent&) { throw std::runtime_error("no room"); };
  EXPECT_EQ(switchboard().cbRequestNotify(tag, "u"), 0);
  EXPECT_EQ(second.events().size(), 1U);
  const auto lines = logger->linesWith(tag + ", host callback threw: no room");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].severity, IBsLogger::severityError);
}

TEST_F(HostCallbacks, ALoginWhoseEveryCallThrowsIsStoredAllTheSame) {
  host.inside = [](const HostEvent&) { throw 7; };
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
  ASSERT_TRUE(runUntil([&] { return host.events(HostEvent::callbackUrl).size() == 1; }));
  ASSERT_EQ(storedUsers().size(), 1U);
  EXPECT_EQ(storedUsers()[0]->thirdAccessToken, "third-1");
  for (const HostEvent& event : host.events()) EXPECT_EQ(event.code, 0) << event.text;
  EXPECT_EQ(host.events().size(), 4U);
  EXPECT_TRUE(waitUntil(
      [&] { return logger->linesWith(", host callback threw: an unknown exception").size() == 4; }));
}

namespace {
/// A logger that asks the library for its manager with every line.
class AskingLogger final : public IBsLogger {
 public:
  bool testSeverity(Severity) override {
    ask();
    return true;
  }
  void write(Severity, const char*, int, const char*, const std::string& text) override {
    ask();
    if (text.find(", before destroy") != std::string::npos) lastSeen = getExternlMediaAuthorize(ema_youtube);
  }
  static void ask() { (void)getExternlMediaAuthorize(ema_youtube); }

  IBsExternlMediaAuthorize* lastSeen = nullptr;
};
}  // namespace

TEST_F(HostCallbacks, TheLinesOfTheEndAreWrittenUnderNoLockAndBehindTheDecision) {
  const auto asking = std::make_shared<AskingLogger>();
  asking->lastSeen = manager;
  installLogger(asking);
  EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 0);
  installLogger(nullptr);
  EXPECT_EQ(asking->lastSeen, nullptr);
}

TEST_F(HostCallbacks, AProtocolThatThrowsIsLogged) {
  LastRelease protocol([](IDmBaseObj*) { throw std::runtime_error("late"); });
  manager->SetProtocol(&protocol);
  EXPECT_EQ(std::exchange(manager, nullptr)->Release(), 0);
  EXPECT_TRUE(logger->hasLine(tag + ", host callback threw: late"));
  EXPECT_TRUE(logger->hasLine(tag + ", release end"));
}

// Look-ups, events and references race the last Release: each round has one end, and nothing begins behind
// it.
TEST_F(HostCallbacks, LookUpsAndEventsRaceTheLastReleaseOfAnotherThread) {
  releaseManager();
  for (int round = 0; round < 100; ++round) {
    makeManager();
    std::atomic<int> ready{0};
    const auto meet = [&] {
      ++ready;
      while (ready < 3) std::this_thread::yield();
    };
    std::thread events([&, owner = tag] {
      meet();
      for (int call = 0; call < 20; ++call) switchboard().cbRequestNotify(owner, "u");
    });
    std::thread lookUps([&] {
      meet();
      for (int call = 0; call < 20; ++call) {
        auto* const found = getExternlMediaAuthorize(ema_youtube);
        EXPECT_TRUE(found == nullptr || found == manager);
      }
    });
    auto* const ending = manager;
    meet();
    EXPECT_EQ(ending->Release(), 0);
    // What had begun before may still be inside, so one call may come to its line behind the end.
    const std::size_t begun = host.events().size();
    EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
    events.join();
    lookUps.join();
    manager = nullptr;
    EXPECT_LE(host.events().size(), begun + 1);
  }
}

TEST_F(HostCallbacks, CallsThatRefuseAnswerWithinThemselves) {
  EXPECT_EQ(manager->toVerifyAccessToken(""), resultFailed);
  EXPECT_EQ(manager->logout(""), resultFailed);
  signIn("u");
  EXPECT_EQ(manager->toVerifyAccessToken("other"), resultFailed);
  EXPECT_EQ(manager->logout("other"), resultFailed);  // says nothing: somebody is signed in
  time->advance(10'000'000);
  EXPECT_EQ(manager->toVerifyAccessToken("u"), resultFailed);

  const auto told = host.events(HostEvent::response);
  const std::vector<int> codes{-10021, -10021, -10021, -10022};
  ASSERT_EQ(told.size(), codes.size());
  for (std::size_t i = 0; i < told.size(); ++i) {
    EXPECT_EQ(told[i].code, codes[i]);
    EXPECT_EQ(told[i].infoType, infoTypeVerifyAccessToken);
    EXPECT_EQ(told[i].thread, std::this_thread::get_id());
  }
}
