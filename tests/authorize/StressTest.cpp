// Everything at once: no race, no deadlock, no use of what has gone, no user who comes back.

#include "authorize/ManagerFixture.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/Records.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <atomic>
#include <thread>

using namespace KBL;

namespace {
class Stress : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  /// Runs each operation on a thread of its own, over and over, while `duration` rounds of the last one last.
  static void together(std::vector<std::function<void()>> operations, int rounds) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index + 1 < operations.size(); ++index) {
      threads.emplace_back([&, index] {
        while (!stop) operations[index]();
      });
    }
    for (int round = 0; round < rounds; ++round) operations.back()();
    stop = true;
    for (auto& thread : threads) thread.join();
  }
};

RefPtr<BsExternlMediaAuthMixedInfo> nickName(const std::string& name) {
  auto info = makeRef<BsExternlMediaAuthMixedInfo>();
  info->setCharKeyConfig(ExternlMediaMixedCharKey::userNickName, name.c_str());
  return info;
}
}  // namespace

TEST_F(Stress, UpdatesReadersAndSettingsBesideLogouts) {
  for (const char* const uuid : {"a", "b", "c"}) signIn(uuid);
  std::atomic<int> next{0};
  const auto out = makeRef<BsExternlMediaAuthUserInfo>();
  together(
      {
          [&] { manager->updateInfo("a", nickName(std::to_string(++next)).get()); },
          [&] { manager->updateInfo("b", nickName(std::to_string(++next)).get()); },
          [&] {
            char buffer[64] = {};
            manager->getAccessToken("a", buffer);
            manager->userInfo("b", out.get());
            (void)manager->accessToken("c");
          },
          [&] {
            (void)context();
            manager->setTimedOut("a", true);
            (void)manager->isTimedOut("a");
          },
          [&] {
            HostRecorder other;
            manager->addAuthCallback(&other);
            manager->removeAuthCallback(&other);
          },
          [&] {
            auto entries = context().cacheEntries;
            AuthorizeTestAccess::setEntries(*manager, {makeUser("a", 1), makeUser("b", 1), makeUser("x", 1)});
            manager->logout("x");
          },
      },
      30);
  EXPECT_EQ(context().sessions.size(), 0U);
}

// An update that began before a logout must not store the user again under the uuid that has gone.
TEST_F(Stress, NoSaveBringsBackAUserWhoHasLoggedOut) {
  for (int round = 0; round < 30; ++round) {
    AuthorizeTestAccess::setEntries(*manager, {makeUser("stays", 1), makeUser("goes", 1)});
    std::atomic<int> ready{0};
    const auto meet = [&] {
      ++ready;
      while (ready < 3) std::this_thread::yield();
    };
    std::thread first([&] {
      meet();
      manager->updateInfo("goes", nickName("late").get());
    });
    std::thread second([&] {
      meet();
      manager->updateInfo("stays", nickName("x").get());
    });
    meet();
    manager->logout("goes");
    first.join();
    second.join();
    for (const auto& list : {context().cacheEntries, storedUsers()}) {
      EXPECT_EQ(findCacheInfo(list, "goes"), nullptr);
      EXPECT_NE(findCacheInfo(list, "stays"), nullptr);
    }
  }
}

TEST_F(Stress, FirstLoginsAtOnceShareOneRecord) {
  network.hold("/credentials");
  std::vector<std::thread> threads;
  for (int index = 0; index < 8; ++index) {
    threads.emplace_back([&] {
      const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
      EXPECT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(context().cacheEntries.size(), 1U);
  manager->cancelLogin();
  network.open("/credentials");
}

TEST_F(Stress, LoginsBesideCancelsLeaveNoRequest) {
  std::atomic<int> started{0};
  together({
               [&] { manager->cancelLogin(); },
               [&] { time->advance(1000); },
               [&] { manager->cbRequestNotify("u"); },
               [&] {
                 const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
                 EXPECT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
                 ++started;
               },
           },
           30);
  EXPECT_EQ(started, 30);
  manager->cancelLogin();
  manager->cancelLogin();
  EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
}

TEST_F(Stress, ReleaseDuringEverything) {
  auto& switchboard = ExternlMediaAuthCallbackProxy::instance();
  for (int round = 0; round < 10; ++round) {
    if (manager == nullptr) makeManager();
    AuthorizeTestAccess::setEntries(*manager, {makeUser("u", nowSeconds() + 1'000'000'000)});
    const std::string owner = tag;
    const auto refresh = makeInfo(infoTypeRefreshToken);
    AuthorizeTestAccess::scheduleTokenRefresh(*manager, "u", refresh.get(), true);
    // Each adds references for a while only: as long as one is held somewhere the manager rightly lives.
    std::vector<std::thread> threads;
    const auto during = [&](std::function<void()> operation) {
      threads.emplace_back([operation = std::move(operation)] {
        for (int step = 0; step < 50; ++step) operation();
      });
    };
    during([&] { (void)switchboard.accessToken(owner, "u"); });
    during([&] { switchboard.updateInfo(owner, "u", nickName("n").get()); });
    during([&] { switchboard.cbRequestNotify(owner, "u"); });
    during([&] { (void)switchboard.copyAuthContext(owner); });
    during([&] { (void)switchboard.knowsOwner(owner); });
    during([&] { time->advance(30'000); });
    const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
    EXPECT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
    EXPECT_EQ(manager->toVerifyAccessToken("u"), resultOk);
    whileTimeRuns([released = std::exchange(manager, nullptr)] { released->Release(); });
    for (auto& thread : threads) thread.join();
    EXPECT_TRUE(runUntil([&] { return !switchboard.knowsOwner(owner); }, 50));
    EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
    EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
  }
}

TEST_F(Stress, ManyThreadsShareTheMakingAndEndingOfManagers) {
  std::vector<std::thread> threads;
  for (int platform = 1; platform < ema_count; ++platform) {
    threads.emplace_back([platform] {
      for (int round = 0; round < 200; ++round) getOrCreateExternlMediaAuthorize(platform)->Release();
    });
    threads.emplace_back([platform] {
      for (int round = 0; round < 200; ++round) (void)getExternlMediaAuthorize(platform);
    });
  }
  for (auto& thread : threads) thread.join();
  for (int platform = 1; platform < ema_count; ++platform) {
    EXPECT_EQ(getExternlMediaAuthorize(platform), nullptr);
  }
}
