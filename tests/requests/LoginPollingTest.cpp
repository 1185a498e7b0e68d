// The polling of a login, tick by tick, and everything that ends it.
#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/Records.h"
#include "foundation/BsNet/BsErrorInfo.h"
#include "requests/BsExternlMediaAuthUserSupportCodeRequest.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"
#include "requests/ProbeRequest.h"
#include "requests/RequestsTest.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

#include <future>

using namespace KBL;
using Login = ExternlMediaLoginCharKey;
using Char = ExternlMediaMixedCharKey;
using testing::ElementsAre;

namespace {

using Session = BsExternlMediaAuthUserSupportSessionRequest;

constexpr const char* sessionAnswer =
    R"({"code":0,"data":{"open_url":"http://open.test/x","session_id":"s-1"}})";
constexpr const char* doneAnswer =
    R"({"code":0,"data":{"status":1,"code":"c","callback_url":"http://done.test/","access_token":"platform",)"
    R"("open_id":"uid-1","refresh_token":"refresh","expires_in":3600}})";

std::string statusAnswer(int status) {
  return R"({"code":0,"data":{"status":)" + std::to_string(status) + "}}";
}

/// A login whose session request runs on a worker, as a manager starts it, with the test's own references
/// beside the worker's.
class LoginPolling : public RequestsTest {
 protected:
  explicit LoginPolling(std::int32_t platform = ema_youtube) : RequestsTest(platform) {}

  void SetUp() override {
    RequestsTest::SetUp();
    info = makeRef<BsExternlMediaAuthLoginInfo>();
    info->SetProtocol(&infoEnds);
    info->setCharKeyConfig(Char::accessToken, "account-token");
    info->setCharKeyConfig(Login::platformId, "0");
    session = makeRequest<Session>();
    session->SetProtocol(&sessionEnds);
    session->addCallback(&ExternlMediaAuthCallbackProxy::instance(), false);
    network.answer([this](const FakeExchange& exchange) { return reply(exchange); });
  }

  /// Nothing may hold the session and its info once the polling has ended: that is the test of every way out.
  void TearDown() override {
    session.reset();
    info.reset();
    RequestsTest::TearDown();
    EXPECT_EQ(sessionEnds.ends(), 1);
    EXPECT_EQ(infoEnds.ends(), 1);
  }

  NetReply reply(const FakeExchange& exchange) {
    const auto asks = [&](const char* key) { return exchange.url.find(key) != std::string::npos; };
    if (asks("Session")) return okReply(sessionAnswer);
    if (asks("SupportCode")) {
      if (atCode) atCode();
      const std::lock_guard lock(codeMutex);
      return codeReply;
    }
    if (atProfile) atProfile();
    if (asks("Google")) return googleReply;
    if (asks("Categories")) return categoriesReply;
    return okReply(
        R"({"data":{"error_code":0,"nickname":"n","user":{"display_name":"n"}},"error":{"code":0}})");
  }
  void answerCode(const NetReply& answer) {
    const std::lock_guard lock(codeMutex);
    codeReply = answer;
  }
  void answerCode(const std::string& body) { answerCode(okReply(body)); }

  void start() {
    EXPECT_EQ(startAndHandOver(session, info.get()), 0);
    EXPECT_TRUE(log->waitForLineWith("result:0"));
  }
  [[nodiscard]] std::size_t polls() const { return network.countOf("SupportCode/"); }
  /// Moves on by one period and waits until that tick has asked.
  void tick() {
    const std::size_t before = polls();
    ASSERT_TRUE(time->waitForWaiters(1));
    time->advance(3000);
    ASSERT_TRUE(waitUntil([&] { return polls() > before; }));
  }
  /// Moves on until the polling has logged its end, and returns the line's text up to the time.
  std::string end() {
    EXPECT_TRUE(time->advanceUntil([this] { return !log->linesWith(",use ms: ").empty(); }, 3000));
    const std::string text = log->linesWith(",use ms: ").empty() ? "" : log->linesWith(",use ms: ")[0].text;
    return text.substr(0, text.find(",use ms: "));
  }
  [[nodiscard]] std::vector<std::string> forwarded() const {
    std::vector<std::string> errors;
    for (const ManagerCall& call : manager->calls("cbRequestForward")) {
      errors.push_back(call.requestName + ": " + std::to_string(call.code) + ", " + call.message);
    }
    return errors;
  }
  [[nodiscard]] std::vector<std::string> profiles() const {
    std::vector<std::string> names;
    for (const ManagerCall& call : manager->calls("queryResponse")) {
      if (call.requestName != "ExternlMediaAuthUserSupportSession") names.push_back(call.requestName);
    }
    return names;
  }

  EndCounter infoEnds;
  EndCounter sessionEnds;
  RefPtr<BsExternlMediaAuthLoginInfo> info;
  RefPtr<Session> session;
  std::function<void()> atCode;
  std::function<void()> atProfile;
  std::mutex codeMutex;
  NetReply codeReply = okReply(statusAnswer(0));
  NetReply googleReply = okReply(R"({"id":"uid-1","name":"Ann"})");
  NetReply categoriesReply = okReply(R"({"items":[{"snippet":{"title":"A","assignable":true}}]})");
};

class TiktokPolling : public LoginPolling {
 protected:
  TiktokPolling() : LoginPolling(ema_tiktok) {}
};
class DouyinPolling : public LoginPolling {
 protected:
  DouyinPolling() : LoginPolling(ema_douyin) {}
};
class VimeoPolling : public LoginPolling {
 protected:
  VimeoPolling() : LoginPolling(ema_vimeo) {}
};

}  // namespace

TEST_F(LoginPolling, TheFirstTickComesThreeSecondsAfterTheStart) {
  start();
  EXPECT_TRUE(time->waitForWaiters(1));
  time->advance(2999);
  EXPECT_TRUE(time->waitForWaiters(1));
  EXPECT_EQ(polls(), 0U);
  time->advance(1);
  EXPECT_TRUE(waitUntil([this] { return polls() == 1; }));

  answerCode(doneAnswer);
  EXPECT_EQ(end(), "third_share, success");
}

TEST_F(LoginPolling, AsksEveryThreeSecondsUntilThePersonIsDone) {
  start();
  for (int round = 0; round < 4; ++round) tick();
  EXPECT_TRUE(log->waitForLineWith("status=0"));
  answerCode(doneAnswer);
  tick();

  EXPECT_EQ(end(), "third_share, success");
  EXPECT_EQ(polls(), 5U);
  EXPECT_TRUE(forwarded().empty());
}

TEST_F(LoginPolling, ASuccessTellsProfileThenCallbackUrl) {
  answerCode(doneAnswer);
  start();
  EXPECT_EQ(end(), "third_share, success");

  EXPECT_THAT(profiles(),
              ElementsAre("ExternlMediaAuthYoutubeUserInfo", "ExternlMediaAuthYoutubeVideoCategory"));
  ASSERT_EQ(manager->count("cbQueryThirdLoginCallbackURL"), 1U);
  EXPECT_EQ(manager->calls("cbQueryThirdLoginCallbackURL")[0].text, "http://done.test/");
  EXPECT_EQ(manager->calls("cbQueryThirdLoginCallbackURL")[0].uuid, uuid);
  EXPECT_EQ(manager->calls().back().operation, "cbQueryThirdLoginCallbackURL");
  EXPECT_EQ(manager->calls("queryResponse")[1].infoType, infoTypeLogin);
  EXPECT_EQ(manager->count("updateInfo"), 3U);
  EXPECT_TRUE(log->hasLine("code get success, code is in redirectUrl"));
  EXPECT_EQ(log->linesWith("code get success")[0].function,
            "KBL::BsExternlMediaAuthUserSupportSessionRequest::codePolling");
}

TEST_F(LoginPolling, TheEndLineTellsTheTimeThatPassed) {
  answerCode(doneAnswer);
  start();
  tick();
  EXPECT_TRUE(log->waitForLineWith(",use ms: "));
  const auto lines = log->linesWith(",use ms: ");
  EXPECT_EQ(lines[0].text, "third_share, success,use ms: 3000");
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, "KBL::ExternlMediaAuthThirdPollingProxy::finishThirdProcess");
}

TEST_F(LoginPolling, TheReferenceOnTheRequestGoesBack600MsAfterTheEnd) {
  answerCode(doneAnswer);
  start();
  end();
  const std::int64_t endMs = time->steadyMs();

  EXPECT_TRUE(time->advanceUntil(
      [this] {
        session->AddRef();
        return session->Release() == 1;
      },
      100));
  EXPECT_GE(time->steadyMs() - endMs, 600);
}

TEST_F(LoginPolling, TheCodeRequestIsSetUpFromTheManagersContext) {
  start();
  tick();
  const FakeExchange sent = network.exchanges().back();
  EXPECT_EQ(sent.url, urlOf("urlLFServerUserSupportCode") + "/s-1");
  EXPECT_EQ(sent.bearer, "account-token");
  EXPECT_EQ(sent.totalTimeoutMs, 30000);
  EXPECT_EQ(sent.headers.count("Accept-Language"), 1U);
  answerCode(doneAnswer);
  end();
}

TEST_F(LoginPolling, TheCodeRequestsResultsBecomeTheSessions) {
  answerCode(doneAnswer);
  start();
  end();
  EXPECT_EQ(session->replyInfo()->infoType(), infoTypeMixed);  // of the last profile request
  EXPECT_EQ(textIn(*session->replyInfo(), Char::videoCategories), "A|");
}

// --- The status

TEST_F(LoginPolling, Status2EndsNothingUntilTheTimeLimit) {
  info->setCharKeyConfig(Login::timeout_seconds, "30");
  answerCode(statusAnswer(2));
  start();
  EXPECT_EQ(end(), "third_share, third_share, timeout1");

  EXPECT_EQ(polls(), 9U);  // after 3 s to 27 s
  EXPECT_THAT(forwarded(), ElementsAre("ExternlMediaAuthUserSupportSession: -10003, third_share timeout cb"));
  EXPECT_EQ(log->linesWith("cloud_user_support_code failed,login canceled or failed, status=2").size(), 9U);
}

TEST_F(LoginPolling, Status0AndUnknownOnesGoOn) {
  start();
  tick();
  EXPECT_TRUE(log->waitForLineWith("status=0"));
  answerCode(statusAnswer(77));
  tick();
  EXPECT_TRUE(log->waitForLineWith("=77"));
  EXPECT_TRUE(log->hasLine("cloud_user_support_code failed,not login,status=0"));
  EXPECT_TRUE(log->hasLine("cloud_user_support_code failed,unkown error status=77\n"));
  EXPECT_EQ(log->linesWith("unkown")[0].severity, 4);

  answerCode(doneAnswer);
  EXPECT_EQ(end(), "third_share, success");
}

TEST_F(LoginPolling, AStatusOfAnotherTypeReadsAsPending) {
  answerCode(R"({"code":0,"data":{"status":"1"}})");
  start();
  tick();
  EXPECT_TRUE(log->waitForLineWith("not login,status=0"));
  answerCode(doneAnswer);
  end();
}

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
  EXPECT_EQ(network.countOf("Categories"), 0U);
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
  EXPECT_EQ(sessionEnds.ends(), 0);
  EXPECT_EQ(infoEnds.ends(), 0);

  goOn.set_value();
  EXPECT_TRUE(waitUntil([this] { return sessionEnds.ends() == 1; }));
  EXPECT_TRUE(waitUntil([this] { return infoEnds.ends() == 1; }));
}

// --- The test of the code endpoint's answer

TEST_F(LoginPolling, TheAnswersTestNeedsAllArguments) {
  const auto code = makeRequest<BsExternlMediaAuthUserSupportCodeRequest>();
  const auto error = makeRef<BsErrorInfo>();
  EXPECT_EQ(session->processUserSupportCodeRequest(nullptr, info.get(), error.get()), 1);
  EXPECT_EQ(session->processUserSupportCodeRequest(code.get(), nullptr, error.get()), 1);
  EXPECT_EQ(session->processUserSupportCodeRequest(code.get(), info.get(), nullptr), 1);

  const auto lines = log->linesWith("invalid args");
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0].text, "invalid args");
  EXPECT_EQ(lines[0].severity, 2);
  EXPECT_EQ(lines[0].function,
            "KBL::BsExternlMediaAuthUserSupportSessionRequest::processUserSupportCodeRequest");
  EXPECT_EQ(session->processUserSupportCodeRequest(code.get(), info.get(), error.get()), 0);
  EXPECT_TRUE(forwarded().empty());
}

TEST_F(LoginPolling, TheAnswersTestNeedsAManager) {
  const auto code = makeRequest<BsExternlMediaAuthUserSupportCodeRequest>();
  const auto error = makeRef<BsErrorInfo>();
  killManager();
  EXPECT_EQ(session->processUserSupportCodeRequest(code.get(), info.get(), error.get()), 1);
  EXPECT_TRUE(log->linesWith("invalid args").empty());
}

// --- The profile

TEST_F(LoginPolling, AFailedProfileDoesNotEndTheLogin) {
  googleReply = okReply(R"({"error":{"code":403,"message":"no"}})");
  answerCode(doneAnswer);
  start();
  EXPECT_EQ(end(), "third_share, success");

  EXPECT_EQ(manager->calls("queryResponse")[1].code, 403);
  EXPECT_EQ(profiles().size(), 2U);
  EXPECT_EQ(manager->count("cbQueryThirdLoginCallbackURL"), 1U);
}

TEST_F(LoginPolling, FailedCategoriesDoNotEndTheLogin) {
  categoriesReply = httpReply(500, "oops");
  answerCode(doneAnswer);
  start();
  EXPECT_EQ(end(), "third_share, success");
  EXPECT_EQ(manager->calls("queryResponse")[2].code, 500);
}

TEST_F(TiktokPolling, AsksTiktokAlone) {
  answerCode(doneAnswer);
  start();
  EXPECT_EQ(end(), "third_share, success");
  EXPECT_THAT(profiles(), ElementsAre("ExternlMediaAuthTiktokUserInfo"));
}

TEST_F(DouyinPolling, AsksDouyinAlone) {
  answerCode(doneAnswer);
  start();
  EXPECT_EQ(end(), "third_share, success");
  EXPECT_THAT(profiles(), ElementsAre("ExternlMediaAuthDouyinUserInfo"));
}

TEST_F(VimeoPolling, AsksForNoProfileAndStillTellsTheCallbackUrl) {
  answerCode(doneAnswer);
  start();
  EXPECT_EQ(end(), "third_share, success");
  EXPECT_TRUE(profiles().empty());
  EXPECT_EQ(manager->calls("cbQueryThirdLoginCallbackURL")[0].text, "http://done.test/");
}

// --- The chain that leads to a login

TEST_F(LoginPolling, ALoginThatIsCanceledDuringTheCredentialsNeverOpensASession) {
  const auto credentials = makeRequest<ProbeRequest>("Credentials");
  credentials->addCallback(session.get(), false);
  session->AddRef();  // the creator's, which the chain takes
  network.answer([this](const FakeExchange&) {
    session->abortForGood();
    return okReply(R"({"code":0})");
  });
  EXPECT_EQ(startAndHandOver(credentials, info.get()), 0);

  EXPECT_TRUE(log->waitForLineWith("ExternlMediaAuthUserSupportSession :queryResponse interrupt"));
  EXPECT_EQ(network.exchanges().size(), 1U);
}

TEST_F(LoginPolling, TwoLoginsPollSideBySide) {
  const auto second = makeRequest<Session>();
  const auto secondInfo = makeRef<BsExternlMediaAuthLoginInfo>();
  secondInfo->updataFrom(info.get());
  start();
  EXPECT_EQ(startAndHandOver(second, secondInfo.get()), 0);
  EXPECT_TRUE(time->waitForWaiters(2));
  answerCode(doneAnswer);
  EXPECT_TRUE(time->advanceUntil([this] { return log->linesWith(",use ms: ").size() == 2; }, 1000));
  EXPECT_EQ(manager->count("cbQueryThirdLoginCallbackURL"), 2U);
}
