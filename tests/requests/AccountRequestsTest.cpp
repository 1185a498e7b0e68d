// Client credentials, code, token and consume.
#include "boundary/records/Records.h"
#include "requests/AccountRequests.h"
#include "requests/RequestsFixture.h"
#include <BsNet/NetKeys.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <gmock/gmock.h>

#include <limits>

using namespace KBL;
using Char = ExternlMediaMixedCharKey;
using Int = ExternlMediaMixedIntKey;
using testing::Pair;
using testing::UnorderedElementsAre;

namespace {

class AccountRequests : public RequestsFixture {
 protected:
  void SetUp() override {
    RequestsFixture::SetUp();
    info = makeRef<BsExternlMediaAuthLoginInfo>();
    info->setCharKeyConfig(Char::accessToken, "account-token");
    info->setCharKeyConfig(Char::sessionId, "session-1");
    info->setCharKeyConfig(Char::refreshToken, "refresh-1");
  }
  void TearDown() override {
    info.reset();
    RequestsFixture::TearDown();
  }

  template <class Request>
  RefPtr<Request> run() {
    auto request = makeRequest<Request>();
    request->syncRequestWithInfo(info.get());
    return request;
  }
  template <class Request>
  RefPtr<Request> run(const std::string& body) {
    network.answer(okReply(body));
    return run<Request>();
  }
  /// What `updateInfo` was told, and nothing else came.
  [[nodiscard]] ManagerCall onlyUpdate() const {
    const auto updates = manager->calls("updateInfo");
    EXPECT_EQ(updates.size(), 1U);
    return updates.empty() ? ManagerCall() : updates[0];
  }
  /// Runs the request without the key, which it must refuse before any network use.
  template <class Request>
  void expectRefusedWithout(const char* key, const std::string& error) {
    for (const bool emptied : {true, false}) {
      if (emptied) {
        info->setCharKeyConfig(key, "");
      } else {
        removeKey(key);
      }
      const auto request = run<Request>();
      EXPECT_EQ(errorText(*request), error) << key;
    }
    EXPECT_EQ(network.exchanges().size(), 0U) << key;
    EXPECT_EQ(manager->count("updateInfo"), 0U);
  }
  void removeKey(const char* removed) {
    auto rest = makeRef<BsExternlMediaAuthLoginInfo>();
    for (const char* const key : {Char::accessToken, Char::sessionId, Char::refreshToken}) {
      if (key != removed) rest->setCharKeyConfig(key, textIn(*info, key).c_str());
    }
    info = rest;
  }

  RefPtr<BsExternlMediaAuthLoginInfo> info;
};

using Credentials = BsExternlMediaAuthClientCredentialsRequest;
using Code = BsExternlMediaAuthUserSupportCodeRequest;
using Token = BsExternlMediaAuthUserSupportTokenRequest;
using Consume = BsExternlMediaAuthUserSupportConsumeRequest;

constexpr const char* codeAnswer =
    R"({"code":0,"data":{"code":"support","callback_url":"http://done.test/","status":1,)"
    R"("access_token":"platform-token","open_id":"uid-9","refresh_token":"refresh-9","expires_in":3600}})";

}  // namespace

// --- Client credentials

TEST_F(AccountRequests, CredentialsSendTheSecretOfThePublicInformation) {
  run<Credentials>();

  const SentExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.url, urlOf("urlLFServerClientCredentials"));
  EXPECT_EQ(sent.method, httpPost);
  EXPECT_EQ(sent.body, "{\"app_secret\":\"hush\",\"grant_type\":\"client_credentials\"}\n");
  EXPECT_EQ(sent.bearer, "");
  EXPECT_EQ(sent.headers.at(PubCharKey::clientType), "desktop");
}

TEST_F(AccountRequests, CredentialsWithoutASecretAreRefusedWithoutNetwork) {
  context.pubInfo = nullptr;
  EXPECT_EQ(errorText(*run<Credentials>()), "-10002, param invalid");
  context.pubInfo = publicInformation();
  context.pubInfo->setCharKeyConfig(PubCharKey::appSecret, "");
  EXPECT_EQ(errorText(*run<Credentials>()), "-10002, param invalid");
  EXPECT_EQ(network.exchanges().size(), 0U);
}

TEST_F(AccountRequests, CredentialsWriteTokenTypeAndLifetimeIntoTheInfo) {
  run<Credentials>(R"({"code":0,"data":{"access_token":"at-1","expires_in":7200}})");

  EXPECT_EQ(textIn(*info, Char::accessToken), "at-1");
  EXPECT_EQ(info->intKeyConfig(Int::tokenType), 2);
  EXPECT_EQ(info->intKeyConfig(Int::expiresIn), 7200);
}

TEST_F(AccountRequests, CredentialsUpdateTheAccountTokenAndNothingElse) {
  const auto request = run<Credentials>(R"({"code":0,"data":{"access_token":"at-1","expires_in":7200}})");

  const ManagerCall update = onlyUpdate();
  EXPECT_EQ(update.uuid, uuid);
  EXPECT_EQ(update.infoType, infoTypeMixed);
  EXPECT_THAT(update.texts, UnorderedElementsAre(Pair(Char::accessToken, "at-1")));
  EXPECT_THAT(update.numbers, UnorderedElementsAre(Pair(Int::tokenType, 2)));
  EXPECT_EQ(request->replyInfo()->infoType(), infoTypeMixed);
  EXPECT_EQ(textIn(*request->replyInfo(), Char::accessToken), "at-1");
  EXPECT_EQ(request->replyInfo()->intKeyConfig(Int::expiresIn), absentIntValue);
}

TEST_F(AccountRequests, ABadEnvelopePublishesNothing) {
  const std::string bad = R"({"code":12,"msg":"no secret like that","data":{"access_token":"at-1"}})";
  const auto request = run<Credentials>(bad);

  EXPECT_EQ(errorText(*request), "12, no secret like that");
  EXPECT_EQ(textIn(*info, Char::accessToken), "account-token");
  EXPECT_EQ(manager->count("updateInfo"), 0U);
  EXPECT_EQ(request->replyInfo()->infoType(), 0);
}

TEST_F(AccountRequests, ABadAnswerAfterAGoodOnePublishesNothing) {
  const auto request = run<Credentials>(R"({"code":0,"data":{"access_token":"at-1"}})");
  network.answer(okReply(R"({"code":1,"msg":"later"})"));
  request->syncRequestWithInfo(info.get());
  EXPECT_EQ(manager->count("updateInfo"), 1U);
}

TEST_F(AccountRequests, WrongTypesReadLikeMissingMembers) {
  for (const std::string data : {R"({"access_token":7,"expires_in":"soon"})", "null", "{}"}) {
    run<Credentials>(R"({"code":0,"data":)" + data + "}");
    EXPECT_EQ(textIn(*info, Char::accessToken), "") << data;
    EXPECT_EQ(info->intKeyConfig(Int::expiresIn), 0) << data;
  }
}

TEST_F(AccountRequests, AFailureStatusWithAGoodEnvelopeWritesNothing) {
  network.answer(httpReply(500, R"({"code":0,"data":{"access_token":"at-1"}})"));
  run<Credentials>();
  EXPECT_EQ(textIn(*info, Char::accessToken), "account-token");
  EXPECT_EQ(manager->count("updateInfo"), 0U);
}

// --- Code

TEST_F(AccountRequests, ABadAnswerForgetsTheStatusOfAGoodOne) {
  const auto request = run<Code>(R"({"code":0,"data":{"status":1,"access_token":"t"}})");
  ASSERT_EQ(request->status(), 1);
  network.answer(okReply(R"({"code":1,"msg":"later"})"));
  request->syncRequestWithInfo(info.get());
  EXPECT_EQ(request->status(), 0);
}

TEST_F(AccountRequests, DataOfAWrongTypeIsNoReply) {
  for (const char* const data : {"[]", "[{}]", "\"x\"", "0", "false"}) {
    const std::string body = std::string(R"({"code":0,"data":)") + data + "}";
    EXPECT_EQ(errorText(*run<Credentials>(body)), "-10000, can't read json.") << data;
    EXPECT_EQ(errorText(*run<Token>(body)), "-10000, can't read json.") << data;
  }
  EXPECT_EQ(manager->count("updateInfo"), 0U);
  EXPECT_EQ(errorText(*run<Token>(R"({"code":5,"msg":"spent","data":[]})")), "5, spent");
  EXPECT_EQ(errorText(*run<Token>(R"({"code":0,"data":null})")), "0, ");
}

TEST_F(AccountRequests, CodeAsksForTheSessionWithTheAccountToken) {
  run<Code>();

  const SentExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.url, urlOf("urlLFServerUserSupportCode") + "/session-1");
  EXPECT_EQ(sent.method, httpGet);
  EXPECT_EQ(sent.body, "");
  EXPECT_EQ(sent.bearer, "account-token");
  const auto lines = log->linesWith("session id:");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "ExternlMediaAuthUserSupportCode:" + urlOf("urlLFServerUserSupportCode") +
                               "/session-1, session id:session-1");
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthUserSupportCodeRequest::Request");
}

TEST_F(AccountRequests, CodeNeedsSessionAndToken) {
  expectRefusedWithout<Code>(Char::sessionId, "-10002, param invalid");
  expectRefusedWithout<Code>(Char::accessToken, "-10002, param invalid");
}

TEST_F(AccountRequests, CodeWritesEveryMemberIntoTheReply) {
  const auto request = run<Code>(codeAnswer);

  EXPECT_EQ(request->status(), 1);
  EXPECT_EQ(textIn(*info, Char::authSupportCode), "support");
  EXPECT_EQ(textIn(*info, Char::callbackUrl), "http://done.test/");
  EXPECT_EQ(textIn(*info, Char::userAccountUid), "uid-9");
  EXPECT_EQ(info->intKeyConfig(Int::status), 1);
  EXPECT_EQ(textIn(*info, Char::thirdAccessToken), "platform-token");
  EXPECT_EQ(textIn(*info, Char::refreshToken), "refresh-9");
  EXPECT_EQ(info->intKeyConfig(Int::expiresIn), 3600);
  EXPECT_EQ(info->intKeyConfig(Int::expiresTimestamp), 8600);
  EXPECT_EQ(request->replyInfo().get(), static_cast<IBsInfoReader*>(info.get()));
}

TEST_F(AccountRequests, CodeUpdatesTheRecordWhenItHasAPlatformToken) {
  run<Code>(codeAnswer);
  const ManagerCall update = onlyUpdate();
  EXPECT_EQ(update.uuid, uuid);
  EXPECT_EQ(update.infoType, infoTypeLogin);
  EXPECT_EQ(update.texts.at(Char::thirdAccessToken), "platform-token");
}

TEST_F(AccountRequests, CodeWithoutAPlatformTokenWritesTheReplyButUpdatesNothing) {
  const auto request = run<Code>(R"({"code":0,"data":{"status":0,"access_token":"","code":"c"}})");

  EXPECT_EQ(manager->count("updateInfo"), 0U);
  EXPECT_EQ(info->intKeyConfig(Int::status), 0);
  EXPECT_EQ(textIn(*info, Char::authSupportCode), "c");
  EXPECT_EQ(request->replyInfo().get(), static_cast<IBsInfoReader*>(info.get()));
}

TEST_F(AccountRequests, AnOpenIdThatIsNoTextLeavesTheKeyUnset) {
  for (const std::string openId : {"7", "null", "{}", "[\"x\"]", "true"}) {
    run<Code>(R"({"code":0,"data":{"access_token":"t","open_id":)" + openId + "}}");
    EXPECT_EQ(textIn(*info, Char::userAccountUid), "(unset)") << openId;
  }
  run<Code>(R"({"code":0,"data":{"access_token":"t"}})");
  EXPECT_EQ(textIn(*info, Char::userAccountUid), "(unset)");
  run<Code>(R"({"code":0,"data":{"access_token":"t","open_id":""}})");
  EXPECT_EQ(textIn(*info, Char::userAccountUid), "");
}

TEST_F(AccountRequests, AnUnsetLifetimeExpiresNow) {
  run<Code>(R"({"code":0,"data":{"access_token":"t"}})");
  EXPECT_EQ(info->intKeyConfig(Int::expiresIn), 0);
  EXPECT_EQ(info->intKeyConfig(Int::expiresTimestamp), 5000);
}

TEST_F(AccountRequests, ALifetimeBeyondAllTimeDoesNotOverflow) {
  run<Code>(R"({"code":0,"data":{"access_token":"t","expires_in":9223372036854775807}})");
  EXPECT_EQ(info->intKeyConfig(Int::expiresTimestamp), std::numeric_limits<long long>::max() - 1);
  run<Code>(R"({"code":0,"data":{"access_token":"t","expires_in":-9223372036854775808}})");
  EXPECT_EQ(info->intKeyConfig(Int::expiresTimestamp), std::numeric_limits<long long>::min() + 5000);
}

TEST_F(AccountRequests, ABadCodeAnswerLeavesTheReplyAlone) {
  const auto request = run<Code>(R"({"code":404,"msg":"unknown session","data":{"status":1}})");
  EXPECT_EQ(errorText(*request), "404, unknown session");
  EXPECT_EQ(request->status(), 0);
  EXPECT_EQ(info->intKeyConfig(Int::status), absentIntValue);
}

TEST_F(AccountRequests, ASessionIdThatSpoilsTheAddressSendsNothing) {
  for (const char* const spoilt : {"a b", "a\r\nHost: evil.test", "a\tb"}) {
    info->setCharKeyConfig(Char::sessionId, spoilt);
    EXPECT_EQ(errorText(*run<Code>()), "-10001, url invalid");
  }
  EXPECT_EQ(network.exchanges().size(), 0U);
}

// --- Token

TEST_F(AccountRequests, TokenSendsTheRefreshToken) {
  run<Token>();

  const SentExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.url, urlOf("urlLFServerUserSupportToken"));
  EXPECT_EQ(sent.method, httpPost);
  EXPECT_EQ(sent.body, "{\"refresh_token\":\"refresh-1\"}\n");
  EXPECT_EQ(sent.bearer, "account-token");
}

TEST_F(AccountRequests, TokenNeedsBothTokens) {
  expectRefusedWithout<Token>(Char::refreshToken, "-10002, refresh token param invalid");
  expectRefusedWithout<Token>(Char::accessToken, "-10002, refresh token param invalid");
}

TEST_F(AccountRequests, TokenWritesTheNewTokensAndTheirEnd) {
  const auto request =
      run<Token>(R"({"code":0,"data":{"access_token":"new","refresh_token":"refresh-2","expires_in":3600}})");

  EXPECT_EQ(textIn(*info, Char::thirdAccessToken), "new");
  EXPECT_EQ(textIn(*info, Char::refreshToken), "refresh-2");
  EXPECT_EQ(info->intKeyConfig(Int::expiresIn), 3600);
  EXPECT_EQ(info->intKeyConfig(Int::expiresTimestamp), 8600);
  EXPECT_EQ(onlyUpdate().texts.at(Char::refreshToken), "refresh-2");
  EXPECT_EQ(request->replyInfo().get(), static_cast<IBsInfoReader*>(info.get()));
}

TEST_F(AccountRequests, TokenWithoutAPlatformTokenUpdatesNothing) {
  const auto request = run<Token>(R"({"code":0,"data":{"refresh_token":"refresh-2"}})");
  EXPECT_EQ(manager->count("updateInfo"), 0U);
  EXPECT_EQ(request->replyInfo().get(), static_cast<IBsInfoReader*>(info.get()));
}

TEST_F(AccountRequests, ABadTokenAnswerLeavesTheReplyAlone) {
  const auto request = run<Token>(R"({"code":5,"msg":"spent","data":{"access_token":"new"}})");
  EXPECT_EQ(errorText(*request), "5, spent");
  EXPECT_EQ(textIn(*info, Char::refreshToken), "refresh-1");
  EXPECT_EQ(manager->count("updateInfo"), 0U);
}

// --- Consume

TEST_F(AccountRequests, ConsumeSendsTheTwoCodesAsIntegers) {
  info->setCharKeyConfig(ExternlUserConsumeCharKey::use_client, "12");
  info->setCharKeyConfig(ExternlUserConsumeCharKey::action_type, "-3");
  run<Consume>();

  const SentExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.url, urlOf("urlUserSupportQueryConsume"));
  EXPECT_EQ(sent.method, httpPost);
  EXPECT_EQ(sent.body, "{\"action_type\":-3,\"use_client\":12}\n");
  EXPECT_EQ(sent.bearer, "account-token");
}

TEST_F(AccountRequests, ConsumeSendsOneWhereNothingIsSet) {
  run<Consume>();
  EXPECT_EQ(network.onlyExchange().body, "{\"action_type\":1,\"use_client\":1}\n");
}

TEST_F(AccountRequests, ConsumeTakesAnyTextAsItsNumber) {
  info->setCharKeyConfig(ExternlUserConsumeCharKey::use_client, "99999999999999999999");
  info->setCharKeyConfig(ExternlUserConsumeCharKey::action_type, "word");
  run<Consume>();
  EXPECT_EQ(network.onlyExchange().body, "{\"action_type\":0,\"use_client\":2147483647}\n");
}

TEST_F(AccountRequests, ConsumeNeedsTheAccountToken) {
  expectRefusedWithout<Consume>(Char::accessToken, "-10002, param invalid");
}

TEST_F(AccountRequests, ARefusedConsumeReportsTheServersReason) {
  EXPECT_EQ(errorText(*run<Consume>(R"({"code":77,"msg":"no quota"})")), "77, no quota");
  EXPECT_EQ(errorText(*run<Consume>(R"({"code":0})")), "0, ");
}

TEST_F(AccountRequests, AMissingManagerIsNoTrouble) {
  killManager();
  EXPECT_EQ(errorText(*run<Code>(codeAnswer)), "0, ");
  EXPECT_EQ(textIn(*info, Char::thirdAccessToken), "platform-token");
}
