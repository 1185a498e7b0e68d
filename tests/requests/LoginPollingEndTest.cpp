// Everything that ends the polling of a login, and what it leaves behind.
#include "requests/LoginPollingFixture.h"
#include "support/NoThreads.h"
#include <BsNet/BsErrorInfo.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>

using namespace KBL;
using Session = BsExternlMediaAuthUserSupportSessionRequest;
using Login = ExternlMediaLoginCharKey;
using Char = ExternlMediaMixedCharKey;
using testing::ElementsAre;

// --- What ends it

TEST_F(LoginPolling, AFailedAnswerOfTheCodeEndpointEndsTheLogin) {
  answerCode(R"({"code":41,"msg":"gone"})");
  start();
  EXPECT_EQ(end(), "third_share, 41,gone");

  EXPECT_EQ(polls(), 1U);
  EXPECT_THAT(forwarded(), ElementsAre("ExternlMediaAuthUserSupportCode: 41, gone"));
  EXPECT_EQ(manager->count("cbQueryThirdLoginCallbackURL"), 0U);
  EXPECT_TRUE(log->hasLine("ExternlMediaAuthUserSupportCode"));
}

TEST_F(LoginPolling, OneTransportFailureEndsItWithoutARetry) {
  session->SetRetryTimes(3);
  answerCode(transportFailure(7, "refused"));
  start();
  EXPECT_EQ(end(), "third_share, 200007,refused");
  EXPECT_EQ(polls(), 1U);
}

TEST_F(LoginPolling, AStatus500OfTheCodeEndpointEndsIt) {
  answerCode(httpReply(500, "oops"));
  start();
  EXPECT_EQ(end(), "third_share, 500,oops");
}

TEST_F(LoginPolling, TheTimeLimitIsReportedOnce) {
  info->setCharKeyConfig(Login::timeout_seconds, "3");
  start();
  EXPECT_EQ(end(), "third_share, third_share, timeout1");

  EXPECT_EQ(polls(), 0U);
  EXPECT_THAT(forwarded(), ElementsAre("ExternlMediaAuthUserSupportSession: -10003, third_share timeout cb"));
  EXPECT_EQ(manager->count("setTimedOut(true)"), 1U);
  EXPECT_EQ(errorText(*session), "-10003, third_share timeout cb");
  EXPECT_TRUE(log->hasLine("timeout_finished"));
  EXPECT_EQ(log->linesWith("timeout_finished")[0].function,
            "KBL::ExternlMediaAuthThirdPollingProxy::setPollingTimeout");
}

TEST_F(LoginPolling, TheTimeLimitIsNotedBeforeItIsTold) {
  info->setCharKeyConfig(Login::timeout_seconds, "3");
  start();
  end();
  std::vector<std::string> order;
  for (const ManagerCall& call : manager->calls()) {
    if (call.operation == "setTimedOut(true)" || call.operation == "cbRequestForward") {
      order.push_back(call.operation);
    }
  }
  EXPECT_THAT(order, ElementsAre("setTimedOut(true)", "cbRequestForward"));
  EXPECT_EQ(log->linesWith("timeout_finished")[0].severity, 4);
}

TEST_F(LoginPolling, TheTestBehindTheProfileWritesTheProfilesError) {
  answerCode(doneAnswer);
  atProfile = [this] { manager->setFlag("isCanceled", true); };
  start();
  EXPECT_EQ(end(), "third_share, user canceled");
  EXPECT_EQ(errorText(*session), "-10007, third_share, user canceled");
  EXPECT_TRUE(profiles().empty());
}

TEST_F(LoginPolling, AnAbsentLimitIs120Seconds) {
  start();
  EXPECT_EQ(end(), "third_share, third_share, timeout1");
  EXPECT_EQ(polls(), 39U);
}

TEST_F(LoginPolling, AnAbortEndsItAndTellsNobody) {
  start();
  tick();
  session->abortForGood();
  EXPECT_EQ(end(), "third_share, third_share, abort");
  EXPECT_TRUE(forwarded().empty());
}

TEST_F(LoginPolling, AnAbortDuringATickLetsTheExchangeEndAndTellsNobody) {
  answerCode(doneAnswer);
  atCode = [this] { session->abortForGood(); };
  start();
  EXPECT_EQ(end(), "third_share, third_share, abort");

  EXPECT_EQ(polls(), 1U);
  EXPECT_TRUE(profiles().empty());
  EXPECT_TRUE(forwarded().empty());
  EXPECT_EQ(manager->count("cbQueryThirdLoginCallbackURL"), 0U);
  EXPECT_EQ(manager->count("updateInfo"), 1U);  // the exchange itself was finished
}

TEST_F(LoginPolling, AnAbortDuringTheProfileEndsItBeforeTheAnswerIsTold) {
  answerCode(doneAnswer);
  atProfile = [this] { session->abortForGood(); };
  start();
  EXPECT_EQ(end(), "third_share, third_share, abort");

  EXPECT_TRUE(profiles().empty());
  EXPECT_EQ(network.exchanges("/urlYoutubeVideoCategories").size(), 0U);
  EXPECT_EQ(manager->count("cbQueryThirdLoginCallbackURL"), 0U);
}

TEST_F(LoginPolling, TheManagersDeathEndsItWithTheNextTick) {
  start();
  tick();
  EXPECT_TRUE(log->waitForLineWith("status=0"));
  killManager();
  EXPECT_EQ(end(), "third_share, third_share, param error");
  EXPECT_EQ(polls(), 1U);
}

TEST_F(LoginPolling, TheManagersDeathDuringATickEndsIt) {
  answerCode(doneAnswer);
  atCode = [this] { killManager(); };
  start();
  const std::string text = end();
  EXPECT_EQ(text, "third_share, 0,");
}

TEST_F(LoginPolling, TheFinishedFlagEndsIt) {
  manager->setFlag("isFinished", true);
  start();
  EXPECT_EQ(end(), "third_share, third_share, success");
  EXPECT_TRUE(forwarded().empty());
}

TEST_F(LoginPolling, TheCanceledFlagEndsIt) {
  manager->setFlag("isCanceled", true);
  start();
  EXPECT_EQ(end(), "third_share, user canceled");
  EXPECT_EQ(errorText(*session), "-10007, third_share, user canceled");
  EXPECT_TRUE(forwarded().empty());
}

TEST_F(LoginPolling, TheTimedOutFlagEndsItWithAReport) {
  manager->setFlag("isTimedOut", true);
  start();
  EXPECT_EQ(end(), "third_share, third_share, timeout2");
  EXPECT_EQ(forwarded().size(), 1U);
}

TEST_F(LoginPolling, TheTestsComeInTheirOrder) {
  manager->setFlag("isFinished", true);
  manager->setFlag("isCanceled", true);
  manager->setFlag("isTimedOut", true);
  session->abortForGood();
  info->setCharKeyConfig(Login::timeout_seconds, "1");

  const RefPtr<BsErrorInfo> error = makeRef<BsErrorInfo>();
  const auto firstEnd = [&] {
    EXPECT_EQ(session->isPollingFinished(nullptr, info.get(), error.get()), 1);
    const std::string text = log->linesWith(",use ms: ").back().text;
    return text.substr(0, text.find(",use ms: "));
  };
  EXPECT_EQ(firstEnd(), "third_share, third_share, success");
  manager->setFlag("isFinished", false);
  EXPECT_EQ(firstEnd(), "third_share, user canceled");
  EXPECT_EQ(errorText(*error), "-10007, third_share, user canceled");
  manager->setFlag("isCanceled", false);
  EXPECT_EQ(firstEnd(), "third_share, third_share, timeout2");
  manager->setFlag("isTimedOut", false);
  EXPECT_EQ(firstEnd(), "third_share, third_share, abort");
}

TEST_F(LoginPolling, GoesOnWhenNothingHolds) {
  EXPECT_EQ(session->isPollingFinished(nullptr, info.get(), nullptr), 0);
  EXPECT_TRUE(log->linesWith(",use ms: ").empty());
}

TEST_F(LoginPolling, TheLimitIsTestedBeforeTheTimedOutFlag) {
  manager->setFlag("isTimedOut", true);
  info->setCharKeyConfig(Login::timeout_seconds, "3");
  start();
  EXPECT_EQ(end(), "third_share, third_share, timeout1");
}

/// The manager made last owns the interface names, so its death silences the forwarders of the others. A
/// login of another manager then counts as finished.
TEST_F(LoginPolling, TheDeathOfTheManagerMadeLastEndsTheLoginsOfTheOthers) {
  AuthContext other = context;
  other.logTag = "ema_tiktok.8";
  auto last = makeRef<FakeManager>(other);
  start();
  tick();
  last->dropAliveToken();
  last.reset();
  EXPECT_EQ(end(), "third_share, third_share, success");
  EXPECT_TRUE(forwarded().empty());
}

TEST_F(LoginPolling, EndsWhereItsManagerHasGone) {
  manager->dropAliveToken();
  EXPECT_EQ(session->isPollingFinished(nullptr, info.get(), nullptr), 1);
  EXPECT_TRUE(log->linesWith("third_share, param error").size() == 1U);
}

TEST_F(LoginPolling, KeepsItsRecord) {
  start();
  info.reset();
  tick();
  EXPECT_EQ(infoEnds.calls, 0);
  answerCode(httpReply(500, "oops"));
  EXPECT_EQ(end(), "third_share, 500,oops");
}

// --- A second end, and a second start

TEST_F(LoginPolling, ASecondEndOnlyLogs) {
  start();
  tick();
  EXPECT_TRUE(log->waitForLineWith("status=0"));
  ExternlMediaAuthThirdPollingProxy& proxy = session->pollingProxy();
  proxy.finishThirdProcess(info.get(), "one");
  proxy.finishThirdProcess(info.get(), "two");
  proxy.finishThirdProcess(info.get(), "three");

  EXPECT_EQ(log->linesWith(",use ms: ").size(), 3U);
  EXPECT_TRUE(time->waitForWaiters(1));
}

TEST_F(LoginPolling, EndsFromManyThreadsReleaseOnce) {
  start();
  std::vector<std::future<void>> ends;
  for (int thread = 0; thread < 8; ++thread) {
    ends.push_back(std::async(std::launch::async,
                              [this] { session->pollingProxy().finishThirdProcess(info.get(), "end"); }));
  }
  for (auto& one : ends) one.get();
  EXPECT_EQ(log->linesWith(",use ms: ").size(), 8U);
}

TEST_F(LoginPolling, NoTickBeginsAfterTheEnd) {
  start();
  EXPECT_TRUE(time->waitForWaiters(1));
  session->pollingProxy().finishThirdProcess(info.get(), "end");
  EXPECT_TRUE(time->advanceUntil([this] { return time->waiters() == 0; }, 1000));
  EXPECT_EQ(polls(), 0U);
}

TEST_F(LoginPolling, AStopWithoutAnEndReleasesBoth) {
  start();
  session->pollingProxy().stopPollingTimer();
  session->pollingProxy().stopPollingTimer();
  EXPECT_TRUE(time->advanceUntil([this] { return time->waiters() == 0; }, 1000));
  EXPECT_EQ(polls(), 0U);
}

TEST_F(LoginPolling, ARestartEndsTheOldTimerAndLeaksNothing) {
  start();
  tick();
  EXPECT_TRUE(log->waitForLineWith("status=0"));
  time->advance(2000);
  session->pollingProxy().startThirdProcess(info.get());

  time->advance(1000);  // the old timer's next tick would come now
  EXPECT_TRUE(time->waitForWaiters(1));
  EXPECT_EQ(polls(), 1U);
  time->advance(2000);
  EXPECT_TRUE(waitUntil([this] { return polls() == 2; }));
  answerCode(doneAnswer);
  EXPECT_EQ(end(), "third_share, success");
}

TEST_F(LoginPolling, TheClockOfAStartMayStopIt) {
  start();
  std::vector<std::future<void>> stops;
  int stopped = 0;
  time->whenAsked([&, starter = std::this_thread::get_id()] {
    if (std::this_thread::get_id() != starter) return;
    stops.push_back(std::async(std::launch::async, [&] { session->pollingProxy().stopPollingTimer(); }));
    if (stops.back().wait_for(generousLimit) == std::future_status::ready) ++stopped;
  });

  session->pollingProxy().startThirdProcess(info.get());

  time->whenAsked({});
  EXPECT_EQ(stopped, 2);  // the stopwatch asks, and the timer
  EXPECT_TRUE(time->advanceUntil([this] { return references() == 1; }, 100));
  EXPECT_EQ(polls(), 0U);
}

TEST_F(LoginPolling, StartsWithoutAnInfo) {
  session->pollingProxy().startThirdProcess(nullptr);
  EXPECT_EQ(session->pollingProxy().timeoutMs(), 120000);
  EXPECT_TRUE(time->waitForWaiters(1));
  time->advance(3000);  // without a function the tick does nothing
  session->pollingProxy().finishThirdProcess(nullptr, "end");
}

/// The session's last reference may go while a tick of it runs; the tick's own keeps it to the tick's end.
TEST_F(LoginPolling, ATickOutlivesEveryOtherReference) {
  std::promise<void> entered;
  std::promise<void> goOn;
  auto mayGoOn = goOn.get_future().share();
  atCode = [&, once = std::make_shared<std::atomic<bool>>(false)] {
    if (!once->exchange(true)) entered.set_value();
    mayGoOn.wait();
  };
  start();
  EXPECT_TRUE(time->waitForWaiters(1));
  time->advance(3000);
  entered.get_future().wait();

  session->pollingProxy().finishThirdProcess(info.get(), "from outside");
  Session* const held = session.get();
  session.reset();
  info.reset();
  EXPECT_TRUE(time->advanceUntil(
      [held] {
        held->AddRef();
        return held->Release() == 1;
      },
      100));
  EXPECT_EQ(sessionEnds.calls, 0);
  EXPECT_EQ(infoEnds.calls, 0);

  goOn.set_value();
  EXPECT_TRUE(waitUntil([this] { return sessionEnds.calls == 1; }));
  EXPECT_TRUE(waitUntil([this] { return infoEnds.calls == 1; }));
}

#if defined(__GLIBC__)
TEST_F(LoginPolling, WithoutAThreadForItsTimerTheLoginEndsAtOnceAndLeaksNothing) {
  const NoThreads noThreads;
  session->AddRef();  // the creator's, which the end of the polling does not touch
  session->syncRequestWithInfo(info.get());

  EXPECT_THAT(forwarded(), ElementsAre("ExternlMediaAuthUserSupportSession: -10003, third_share timeout cb"));
  EXPECT_EQ(log->linesWith(",use ms: ").size(), 1U);
  EXPECT_EQ(session->Release(), 1);
}
#endif
