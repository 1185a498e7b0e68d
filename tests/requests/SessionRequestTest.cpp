// Opening a login session, up to the start of its polling.
#include "boundary/records/Records.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"
#include "requests/RequestsFixture.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <gmock/gmock.h>

using namespace KBL;
using Login = ExternlMediaLoginCharKey;
using Char = ExternlMediaMixedCharKey;

namespace {

using Session = BsExternlMediaAuthUserSupportSessionRequest;

class SessionRequest : public RequestsFixture {
 protected:
  void SetUp() override {
    RequestsFixture::SetUp();
    info = makeRef<BsExternlMediaAuthLoginInfo>();
    info->setCharKeyConfig(Char::accessToken, "account-token");
    info->setCharKeyConfig(Login::platformId, "3");
    network.answer(okReply(R"({"code":0,"data":{"open_url":"http://open.test/x","session_id":"s-1"}})"));
    request = makeRequest<Session>();
  }
  void TearDown() override {
    killManager();  // a polling that runs ends with its next tick
    request.reset();
    info.reset();
    RequestsFixture::TearDown();
  }
  void run() { request->syncRequestWithInfo(info.get()); }
  std::string sentBody() {
    run();
    return network.exchanges().back().body;
  }

  RefPtr<BsExternlMediaAuthLoginInfo> info;
  RefPtr<Session> request;
};

}  // namespace

TEST_F(SessionRequest, OpensTheSessionWithTheAccountToken) {
  run();
  const SentExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.url, urlOf("urlLFServerUserSupportSession"));
  EXPECT_EQ(sent.method, httpPost);
  EXPECT_EQ(sent.bearer, "account-token");
  EXPECT_EQ(sent.body, "{\"is_callback_token\":1,\"platform\":3,\"use_client\":1}\n");
  EXPECT_TRUE(log->hasLine("ExternlMediaAuthUserSupportSession:" + urlOf("urlLFServerUserSupportSession")));
}

TEST_F(SessionRequest, SendsEverythingThatIsGiven) {
  info->setCharKeyConfig(Login::url, "http://me.test/");
  info->setCharKeyConfig(Login::use_client, "5");
  info->setCharKeyConfig(Login::scope, "one,two");
  EXPECT_EQ(sentBody(),
            "{\"is_callback_token\":1,\"platform\":3,\"scope\":[\"one\",\"two\"],\"url\":\"http://me.test/\","
            "\"use_client\":5}\n");
}

TEST_F(SessionRequest, AnEmptyScopeSendsNoScope) {
  info->setCharKeyConfig(Login::scope, "");
  EXPECT_EQ(sentBody().find("scope"), std::string::npos);
}

TEST_F(SessionRequest, AScopeIsSplitAtEachComma) {
  const std::pair<const char*, const char*> cases[] = {
      {"a", "[\"a\"]"},     {"a,b", "[\"a\",\"b\"]"},         {"a,,b", "[\"a\",\"\",\"b\"]"},
      {",", "[\"\",\"\"]"}, {"a, b,", "[\"a\",\" b\",\"\"]"},
  };
  for (const auto& [scope, array] : cases) {
    info->setCharKeyConfig(Login::scope, scope);
    EXPECT_THAT(sentBody(), testing::HasSubstr(std::string("\"scope\":") + array)) << scope;
  }
}

TEST_F(SessionRequest, TheNumbersAreReadLikeAtoi) {
  info->setCharKeyConfig(Login::platformId, " 12abc");
  info->setCharKeyConfig(Login::use_client, "x");
  EXPECT_EQ(sentBody(), "{\"is_callback_token\":1,\"platform\":12,\"use_client\":0}\n");
}

TEST_F(SessionRequest, NeedsAccountTokenAndPlatformId) {
  info->setCharKeyConfig(Char::accessToken, "");
  run();
  EXPECT_EQ(errorText(*request), "-10002, param invalid");

  info = makeRef<BsExternlMediaAuthLoginInfo>();
  info->setCharKeyConfig(Char::accessToken, "account-token");
  run();
  EXPECT_EQ(errorText(*request), "-10002, param invalid");

  request->syncRequestWithInfo(nullptr);
  EXPECT_EQ(errorText(*request), "-10002, param invalid");
  EXPECT_EQ(network.exchanges().size(), 0U);
  EXPECT_EQ(manager->count("cbQueryThirdLoginURL"), 0U);
}

TEST_F(SessionRequest, WritesSessionAndAddressIntoTheInfo) {
  run();
  EXPECT_EQ(textIn(*info, Char::sessionId), "s-1");
  EXPECT_EQ(textIn(*info, Char::openUrl), "http://open.test/x");
  const auto lines = log->linesWith("seesion id: ");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "seesion id: s-1");
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthUserSupportSessionRequest::handleRequestData");
}

TEST_F(SessionRequest, KeepsACopyOfTheLoginAsItsReply) {
  run();
  EXPECT_EQ(request->replyInfo()->infoType(), infoTypeLogin);
  EXPECT_NE(request->replyInfo().get(), static_cast<IBsInfoReader*>(info.get()));
  EXPECT_EQ(textIn(*request->replyInfo(), Char::sessionId), "s-1");
  EXPECT_EQ(textIn(*request->replyInfo(), Login::platformId), "3");
}

TEST_F(SessionRequest, HandsTheAddressToTheManagerBeforeThePollingStarts) {
  run();
  std::vector<std::string> order;
  for (const ManagerCall& call : manager->calls()) order.push_back(call.operation);
  EXPECT_THAT(order,
              testing::ElementsAre("cbQueryThirdLoginURL", "setTimedOut(false)", "setFinished(false)"));
  EXPECT_EQ(manager->calls()[0].uuid, uuid);
  EXPECT_EQ(manager->calls()[0].text, "http://open.test/x");
}

TEST_F(SessionRequest, ABadEnvelopeStartsNothing) {
  network.answer(okReply(R"({"code":8,"msg":"closed","data":{"session_id":"s-1"}})"));
  run();

  EXPECT_EQ(errorText(*request), "8, closed");
  EXPECT_EQ(textIn(*info, Char::sessionId), "(unset)");
  EXPECT_TRUE(manager->calls().empty());
  EXPECT_EQ(time->waiters(), 0U);
}

TEST_F(SessionRequest, WrongTypesReadAsEmptyText) {
  network.answer(okReply(R"({"code":0,"data":{"open_url":[],"session_id":5}})"));
  run();
  EXPECT_EQ(textIn(*info, Char::sessionId), "");
  EXPECT_EQ(manager->calls("cbQueryThirdLoginURL")[0].text, "");
}

// --- The time limit

namespace {
struct LimitRow {
  const char* name;
  const char* text;  // null: absent
  int seconds;
};

class SessionTimeLimit : public SessionRequest, public testing::WithParamInterface<LimitRow> {};
}  // namespace

INSTANTIATE_TEST_SUITE_P(Limits, SessionTimeLimit,
                         testing::Values(LimitRow{"Absent", nullptr, 120}, LimitRow{"Zero", "0", 60},
                                         LimitRow{"Negative", "-5", 60}, LimitRow{"Plain", "90", 90},
                                         LimitRow{"NoNumber", "soon", 60}, LimitRow{"Empty", "", 60},
                                         LimitRow{"TextBehind", " 7 s", 7},
                                         LimitRow{"Huge", "99999999999999999999", 2147483}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(SessionTimeLimit, IsReadFromTheInfo) {
  EXPECT_EQ(request->pollingProxy().timeoutMs(), 180000);
  if (GetParam().text != nullptr) info->setCharKeyConfig(Login::timeout_seconds, GetParam().text);
  run();

  EXPECT_EQ(request->pollingProxy().timeoutMs(), GetParam().seconds * 1000);
  const auto lines = log->linesWith("set_Timeout_timer:");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "set_Timeout_timer:" + std::to_string(GetParam().seconds));
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, "KBL::ExternlMediaAuthThirdPollingProxy::startThirdProcess");
}
