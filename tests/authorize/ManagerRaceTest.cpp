// Releases, look-ups, verifications, refreshes, logouts, logins and their cancellations on four threads at
// once, over twenty seconds of the clock; every count is looked at when it is over.

#include "authorize/ManagerFixture.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "support/LastRelease.h"
#include "support/Seed.h"
#include "support/WaitUntil.h"
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/CastByName.h>

#include <atomic>
#include <iterator>
#include <memory>
#include <random>
#include <thread>
#include <vector>

using namespace KBL;

namespace {
constexpr int racers = 4;
constexpr int rounds = 4;
constexpr int stepsARound = 50;
constexpr std::int64_t stepMs = 100;

/// Counts its calls, and those that came after its host had taken it away.
class CountingCallback final : public IExternlMediaAuthCallback {
 public:
  _Result queryResponse(IBsBaseRequest*, IBsInfoReader*, IBsErrorInfo*) override {
    count();
    return resultOk;
  }
  void onRequestFinished(const std::string&) override { count(); }
  void onLoginUrl(const char*, const char*) override { count(); }
  void onLoginCallbackUrl(const char*, const char*) override { count(); }
  void onAccessTokenChanged(const char*, const char*, const char*) override { count(); }

  [[nodiscard]] int begun() const { return begun_; }
  [[nodiscard]] int running() const { return begun_ - ended_; }

 private:
  void count() {
    ++begun_;
    std::this_thread::yield();
    ++ended_;
  }
  std::atomic<int> begun_{0};
  std::atomic<int> ended_{0};
};

class ManagerRace : public ManagerFixture {
 protected:
  void SetUp() override {
    // Tokens live a second beyond the margin, so that their refreshers are at work all the time.
    network.answer("/token", R"({"code":0,"data":{"access_token":"third-2","refresh_token":"refresh-2",)"
                             R"("expires_in":301}})");
  }

  /// A manager with users, refreshers and the test's own callback and protocols.
  void prepare() {
    makeManager();
    manager->removeAuthCallback(&host);
    manager->addAuthCallback(&lasting_);
    manager->SetProtocol(&managerEnds_);
    const auto proxy = adoptRef(createInfoObject(infoObjectServerProxy));
    proxy->SetProtocol(&recordEnds_);
    manager->setServerProxy(queryInterface<IBsServerProxyInfo>(proxy.get(), "IBsServerProxyInfo"));
    const auto info = makeInfo(infoTypeRefreshToken);
    for (const char* const uuid : {"a", "b", "c"}) {
      signIn(uuid);
      AuthorizeTestAccess::scheduleTokenRefresh(*manager, uuid, info.get(), false);
    }
    core_ = manager->core();
  }

  /// One thing that a host does, on a racer's thread, which has a reference of its own.
  void act(BsExternlMediaAuthorize& raced, const std::string& owner, std::mt19937_64& random) {
    static constexpr const char* uuids[] = {"a", "b", "c", ""};
    const char* const uuid = uuids[random() % std::size(uuids)];
    auto& switchboard = ExternlMediaAuthCallbackProxy::instance();
    switch (random() % 9) {
      case 0: {
        const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
        (void)raced.toExternlMediaAuth(info.get());
        return;
      }
      case 1:
        (void)raced.cancelLogin();
        return;
      case 2:
        (void)raced.toVerifyAccessToken(uuid);
        return;
      case 3:
        (void)switchboard.cbAsyncRefreshAccessToken(owner, uuid);
        return;
      case 4:
        (void)raced.logout(uuid);
        return;
      case 5:
        raced.AddRef();
        (void)switchboard.accessToken(owner, uuid);
        EXPECT_GE(raced.Release(), 1);
        return;
      case 6: {
        auto* const found = getExternlMediaAuthorize(ema_youtube);
        EXPECT_EQ(found, &raced);
        EXPECT_EQ(getOrCreateExternlMediaAuthorize(ema_youtube), &raced);
        return;
      }
      case 7:
        switchboard.cbRequestNotify(owner, uuid);
        return;
      default: {
        CountingCallback passing;
        EXPECT_EQ(raced.addAuthCallback(&passing), resultOk);
        (void)raced.toVerifyAccessToken(uuid);
        EXPECT_EQ(raced.removeAuthCallback(&passing), resultOk);
        EXPECT_EQ(passing.running(), 0);
      }
    }
  }

  /// Acts with the clock and gives its reference back somewhere on the way.
  void race(BsExternlMediaAuthorize& raced, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    const std::string owner = tag;
    const std::int64_t begin = time->steadyMs();
    const int steps = 1 + static_cast<int>(random() % stepsARound);
    for (int step = 0; step < steps; ++step) {
      while (time->steadyMs() < begin + step * stepMs) std::this_thread::yield();
      act(raced, owner, random);
    }
    if (raced.Release() == 0) ++lastReleases_;
    ++gone_;
  }

  CountingCallback lasting_;
  LastRelease managerEnds_;
  LastRelease recordEnds_;
  std::weak_ptr<ISwitchboardManager> core_;
  std::atomic<int> lastReleases_{0};
  std::atomic<int> gone_{0};
};
}  // namespace

TEST_F(ManagerRace, FourThreadsForTwentySecondsLeaveEveryCountRight) {
  auto random = seededGenerator();
  for (int round = 1; round <= rounds; ++round) {
    prepare();
    auto* const raced = manager;
    gone_ = 0;
    for (int racer = 1; racer < racers; ++racer) raced->AddRef();
    std::vector<std::thread> threads;
    for (int racer = 0; racer < racers; ++racer) {
      threads.emplace_back([this, raced, seed = random()] { race(*raced, seed); });
    }
    const std::int64_t begin = time->steadyMs();
    EXPECT_TRUE(runUntil([&] { return gone_ == racers; }, stepMs));
    for (auto& thread : threads) thread.join();
    manager = nullptr;

    EXPECT_EQ(lastReleases_, round);
    EXPECT_EQ(managerEnds_.calls, round);
    EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
    EXPECT_FALSE(ExternlMediaAuthCallbackProxy::instance().knowsOwner(tag));
    EXPECT_TRUE(waitUntil([&] { return lasting_.running() == 0; }));
    const int heard = lasting_.begun();
    EXPECT_TRUE(runUntil([&] {
      return core_.expired() && requestsAlive() == 0 && time->steadyMs() >= begin + stepsARound * stepMs;
    }));
    // What the manager's core held goes with it, a moment after nobody can reach the core any more.
    EXPECT_TRUE(waitUntil([&] { return recordEnds_.calls == round; }));
    EXPECT_EQ(lasting_.begun(), heard);
    EXPECT_EQ(logger->linesWith(tag + ", release end").size(), 1U);
  }
  EXPECT_GT(lasting_.begun(), 0);
}
