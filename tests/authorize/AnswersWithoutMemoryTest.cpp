// What is owed to the host while memory runs out on a worker or a timer, at each allocation behind an answer
// in turn: an answer for each verification, a token event for each stored token, and no request left behind.

#include "authorize/ManagerMemoryFixture.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/Records.h"
#include "support/LastRelease.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <atomic>
#include <string>
#include <vector>

using namespace KBL;

namespace {
constexpr const char* user1 = "first user of all";
constexpr const char* tokenAnswer =
    R"({"code":0,"data":{"access_token":"a new third token","refresh_token":"a new refresh token","expires_in":3600}})";

class AnswersWithoutMemory : public ManagerMemory {
 protected:
  /// Answers the path, and lets one allocation of the thread that asked fail, after so many.
  void answerAndFail(
      const char* path, const std::string& body, int successes, const std::function<void()>& before = [] {}) {
    network.answer(path, [this, body, successes, before](const SentExchange&) {
      before();
      NetReply reply = okReply(body);
      shortage.emplace(successes);
      isShort = true;
      return reply;
    });
  }
  /// Runs the round with each allocation failing in turn until none fails any more.
  void inTurn(const std::function<void(int successes)>& round) {
    for (int successes = 0; successes < moreThanAnyCallNeeds; ++successes) {
      const int before = ScopedFailingAllocation::failuresOfAllThreads();
      round(successes);
      if (HasFailure()) {
        ADD_FAILURE() << "after " << successes << " successful allocations";
        return;
      }
      if (ScopedFailingAllocation::failuresOfAllThreads() == before) return;
    }
    ADD_FAILURE() << "it never had enough";
  }
  void freshUser() { AuthorizeTestAccess::setEntries(*manager, {makeUser(user1, nowSeconds() + 1'000'000)}); }
  /// `start` begins a renewal that another verification waits for; so many verifications are answered.
  void expectAnswers(int owed, const std::function<void()>& start) {
    AuthorizeTestAccess::forgetFile(*manager);  // saves have a test of their own
    inTurn([&](int successes) {
      freshUser();
      counting.verifications = 0;
      answerAndFail("/token", tokenAnswer, successes,
                    [&] { EXPECT_EQ(manager->toVerifyAccessToken(user1), resultOk); });
      start();
      EXPECT_TRUE(runUntil([&] { return counting.verifications >= owed && time->waiters() <= 1; }))
          << counting.verifications << " answers, " << time->waiters() << " sleepers";
      EXPECT_EQ(counting.verifications, owed);
    });
    EXPECT_EQ(counting.brokenAnswers, 0);
  }

  LastRelease ends;
  std::optional<ScopedFailingAllocation> shortage;
  std::atomic<bool> isShort{false};
};
}  // namespace

TEST_F(AnswersWithoutMemory, EachVerificationHasOne) {
  expectAnswers(2, [&] { ASSERT_EQ(manager->toVerifyAccessToken(user1), resultOk); });
}

TEST_F(AnswersWithoutMemory, AVerificationThatWaitsForARefreshHasOne) {
  const auto info = makeInfo(infoTypeRefreshToken);
  expectAnswers(1, [&] {
    AuthorizeTestAccess::scheduleTokenRefresh(*manager, user1, info.get(), true);
    ASSERT_EQ(manager->cbAsyncRefreshAccessToken(user1), 0);
  });
}

TEST_F(AnswersWithoutMemory, AVerificationWhoseRenewalEndsWithoutAnAnswerHasOne) {
  const std::string uuid = user1;
  const std::vector<Verification> owed = {makeRef<BsExternlMediaVerifyAccessTokenInfo>()};
  inTurn([&](int successes) {
    counting.verifications = 0;
    whileTimeRuns([&] {
      const ScopedFailingAllocation short_(successes);
      manager->renewalUnanswered(uuid, owed);
    });
    EXPECT_EQ(counting.verifications, 1);
    EXPECT_NE(counting.lastCode, 0);
  });
}

TEST_F(AnswersWithoutMemory, ARefresherThatCannotTickIsNoFailureOfItsCaller) {
  AuthorizeTestAccess::scheduleTokenRefresh(*manager, user1, makeInfo(infoTypeRefreshToken).get(), true);
  const auto refresher = proxy(user1);
  inTurn([&](int successes) {
    const ScopedFailingAllocation short_(successes);
    EXPECT_NO_THROW(refresher->start());
  });
}

TEST_F(AnswersWithoutMemory, AVerificationThatCannotBeStartedIsNotAnsweredBesides) {
  AuthorizeTestAccess::forgetFile(*manager);
  const auto start = [&] {
    counting.verifications = 0;
    return manager->toVerifyAccessToken(user1);
  };
  _Result result = resultFailed;
  EXPECT_GE(failures([&] { return result = start(); }, resultOk,
                     [&] {
                       const int owed = result == resultOk ? 1 : 0;
                       EXPECT_TRUE(runUntil([&] { return counting.verifications >= owed; }));
                       EXPECT_EQ(counting.verifications, owed);
                     }),
            20);
}

TEST_F(AnswersWithoutMemory, ARefusalIsWholeAndNeverReadsAsASuccess) {
  AuthorizeTestAccess::setEntries(*manager, {});
  inTurn([&](int successes) {
    counting.lastCode = -1;
    const ScopedFailingAllocation short_(successes);
    EXPECT_EQ(manager->toVerifyAccessToken(user1), resultFailed);
    EXPECT_NE(counting.lastCode, 0);
  });
  EXPECT_EQ(counting.brokenAnswers, 0);
}

TEST_F(AnswersWithoutMemory, ATokenThatWasStoredIsTold) {
  const auto info =
      makeInfo(infoTypeRefreshToken, {{ExternlMediaMixedCharKey::thirdAccessToken, "a new third token"}});
  bool wasStoredUnsaved = false;
  inTurn([&](int successes) {
    freshUser();
    counting.tokens = 0;
    {
      const ScopedFailingAllocation short_(successes);
      try {
        (void)manager->updateInfo(user1, info.get());
      } catch (const std::bad_alloc&) {
        EXPECT_EQ(user(user1).thirdAccessToken, std::string("third-") + user1);
      }
    }
    const bool stored = user(user1).thirdAccessToken == "a new third token";
    EXPECT_EQ(counting.tokens, stored ? 1 : 0);
    const CacheEntries file = storedUsers();
    if (stored && (file.empty() || file[0]->thirdAccessToken != "a new third token")) wasStoredUnsaved = true;
    AuthorizeTestAccess::setEntries(*manager, {});
    (void)manager->updateInfo("other", makeInfo(infoTypeMixed).get());
  });
  EXPECT_TRUE(wasStoredUnsaved) << "no allocation of a save failed";
}

TEST_F(AnswersWithoutMemory, ALoginWhosePollingCannotBeginOrEndLeavesNothingBehind) {
  struct Case {
    const char* path;
    const char* body;
  };
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  AuthorizeTestAccess::forgetFile(*manager);
  for (const Case& one :
       {Case{"/session", R"({"code":0,"data":{"open_url":"http://a.test/","session_id":"s"}})"},
        Case{"/code", R"({"code":41,"msg":"gone"})"}}) {
    inTurn([&](int successes) {
      freshUser();
      ends.calls = 0;
      isShort = false;
      network.hold("/credentials");
      answerAndFail(one.path, one.body, successes);
      ASSERT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
      AuthorizeTestAccess::lastLiveRequest(*manager)->SetProtocol(&ends);
      network.open("/credentials");
      EXPECT_TRUE(runUntil([&] { return isShort.load(); }, 1500));
      manager->cancelLogin();
      EXPECT_TRUE(runUntil([&] { return ends.calls == 1 && time->waiters() == 0; }, 1500)) << one.path;
      shortage.reset();
    });
  }
}

// Entries of a manager that was not made after all would silence the others.
TEST_F(AnswersWithoutMemory, AManagerThatCannotBeMadeLeavesTheOthersHeard) {
  inTurn([&](int successes) {
    IBsExternlMediaAuthorize* made = nullptr;
    {
      const ScopedFailingAllocation short_(successes);
      made = getOrCreateExternlMediaAuthorize(ema_tiktok);
    }
    EXPECT_EQ(ExternlMediaAuthCallbackProxy::instance().setFinished(tag, user1, false), 0);
    if (made != nullptr) {
      EXPECT_EQ(made->Release(), 0);
    }
    // With its end the others fall silent, until a further one is made.
    releaseManager();
    makeManager();
    manager->addAuthCallback(&counting);
  });
}
