// The polling of a login, tick by tick.
#include "requests/AccountRequests.h"
#include "requests/LoginPollingFixture.h"
#include "requests/ProbeRequest.h"
#include <BsNet/BsErrorInfo.h>

using namespace KBL;
using Session = BsExternlMediaAuthUserSupportSessionRequest;
using Login = ExternlMediaLoginCharKey;
using Char = ExternlMediaMixedCharKey;
using testing::ElementsAre;

namespace {

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
  time->advance(2499);  // half a second has passed already
  EXPECT_TRUE(time->waitForWaiters(1));
  EXPECT_EQ(polls(), 0U);
  toNextTickMs = 1;
  tick();
  EXPECT_EQ(polls(), 1U);

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
  EXPECT_EQ(log->linesWith("code get success")[0].severity, 4);
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

  EXPECT_TRUE(time->advanceUntil([this] { return references() == 1; }, 100));
  EXPECT_GE(time->steadyMs() - endMs, 600);
}

TEST_F(LoginPolling, TheCodeRequestIsSetUpFromTheManagersContext) {
  start();
  tick();
  const SentExchange sent = network.exchanges().back();
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

TEST_F(LoginPolling, APendingAnswersRecordAndErrorBecomeTheSessions) {
  start();
  EXPECT_NE(session->replyInfo().get(), static_cast<IBsInfoReader*>(info.get()));
  tick();
  EXPECT_EQ(session->replyInfo().get(), static_cast<IBsInfoReader*>(info.get()));
  answerCode(R"({"code":41,"msg":"gone"})");
  end();
  EXPECT_EQ(errorText(*session), "41, gone");
}

TEST_F(LoginPolling, TheSessionKeepsItsInfoUntilItGoes) {
  answerCode(doneAnswer);
  start();
  end();
  ASSERT_TRUE(time->advanceUntil([this] { return references() == 1 && time->waiters() == 0; }, 100));
  info.reset();
  EXPECT_EQ(infoEnds.calls, 0);
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
  EXPECT_EQ(credentials->goOnWith(session), resultOk);
  network.answer([this](const SentExchange&) {
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
