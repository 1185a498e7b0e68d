#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"

#include <gtest/gtest.h>

namespace {

using sandbox::Consent;
using sandbox::Platform;
using sandbox::Sandbox;
using sandbox::SandboxOptions;

constexpr const char* goodCredentials =
    R"({"app_secret":"sandbox-app-secret","grant_type":"client_credentials"})";
constexpr const char* goodSession = R"({"platform":0,"use_client":1,"is_callback_token":1})";

class AccountServer : public testing::Test {
 protected:
  Json::Value credentials(const std::string& body) {
    return client.post("/account/client_credentials", body).json();
  }
  Json::Value session(const std::string& body) {
    return client.post("/account/session", body, {bearer(accountToken)}).json();
  }
  std::string openSession() { return session(goodSession)["data"]["session_id"].asString(); }
  Json::Value code(const std::string& sessionId) {
    return client.get("/account/code/" + sessionId, {bearer(accountToken)}).json();
  }
  Json::Value refresh(const std::string& refreshToken) {
    return client
        .post("/account/token", R"({"refresh_token":")" + refreshToken + "\"}", {bearer(accountToken)})
        .json();
  }
  Json::Value consume(const std::string& body) {
    return client.post("/account/consume", body, {bearer(accountToken)}).json();
  }

  Sandbox server;
  TestClient client{server};
  std::string accountToken = server.issueAccountToken();
};

TEST_F(AccountServer, RightSecretBringsAnAccountToken) {
  const Json::Value answer = credentials(goodCredentials);

  EXPECT_EQ(answer["code"], 0);
  EXPECT_EQ(answer["data"]["expires_in"], 7200);
  const auto token = server.token(answer["data"]["access_token"].asString());
  ASSERT_TRUE(token);
  EXPECT_EQ(token->kind, sandbox::TokenKind::account);
}

TEST_F(AccountServer, WrongSecretIsRefusedInTheEnvelope) {
  const Answer answer =
      client.post("/account/client_credentials", R"({"app_secret":"x","grant_type":"client_credentials"})");

  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.json()["code"], 40101);
  EXPECT_EQ(answer.json()["msg"], "invalid app_secret");
  EXPECT_TRUE(answer.json()["data"].empty());
}

TEST_F(AccountServer, CredentialsCheckEveryMember) {
  EXPECT_EQ(credentials("no json")["code"], 40001);
  EXPECT_EQ(credentials("[]")["code"], 40001);
  EXPECT_EQ(credentials(R"({"app_secret":"sandbox-app-secret"})")["code"], 40002);
  EXPECT_EQ(credentials(R"({"app_secret":"sandbox-app-secret","grant_type":"password"})")["code"], 40002);
  EXPECT_EQ(credentials(R"({"grant_type":"client_credentials"})")["code"], 40002);
  EXPECT_EQ(credentials(R"({"app_secret":7,"grant_type":"client_credentials"})")["code"], 40002);
  EXPECT_EQ(credentials(R"({"app_secret":"","grant_type":"client_credentials"})")["code"], 40002);
}

TEST_F(AccountServer, ContentTypeDoesNotMatter) {
  const Answer answer = client.post("/account/client_credentials", goodCredentials,
                                    {{"content-type", "application/x-www-form-urlencoded"}});

  EXPECT_EQ(answer.json()["code"], 0);
}

TEST_F(AccountServer, EmptyConfiguredSecretAcceptsAny) {
  SandboxOptions options;
  options.appSecret = "";
  const Sandbox open(options);
  TestClient other(open);

  const Answer answer = other.post("/account/client_credentials",
                                   R"({"app_secret":"anything","grant_type":"client_credentials"})");

  EXPECT_EQ(answer.json()["code"], 0);
}

TEST_F(AccountServer, SessionNamesAddressAndId) {
  const Json::Value answer = session(goodSession);

  ASSERT_EQ(answer["code"], 0);
  const std::string id = answer["data"]["session_id"].asString();
  EXPECT_FALSE(id.empty());
  EXPECT_EQ(answer["data"]["open_url"], server.baseUrl() + "/consent/" + id);
  EXPECT_EQ(client.get(targetOf(answer["data"]["open_url"].asString())).status, 200);
}

TEST_F(AccountServer, SessionKeepsPlatformScopesAndUrl) {
  session(
      R"({"platform":2,"use_client":1,"is_callback_token":1,"url":"https://host.example/back","scope":["a","b"]})");

  const auto sessions = server.loginSessions();
  ASSERT_EQ(sessions.size(), 1U);
  EXPECT_EQ(sessions[0].platform, Platform::tiktok);
  EXPECT_EQ(sessions[0].scopes, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(sessions[0].url, "https://host.example/back");
}

TEST_F(AccountServer, SessionChecksEveryMember) {
  EXPECT_EQ(session("{")["code"], 40001);
  EXPECT_EQ(session(R"({"use_client":1,"is_callback_token":1})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":99,"use_client":1,"is_callback_token":1})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":"0","use_client":1,"is_callback_token":1})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0.0,"use_client":1,"is_callback_token":1})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0,"is_callback_token":1})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0,"use_client":"1","is_callback_token":1})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0,"use_client":1})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0,"use_client":1,"is_callback_token":1,"scope":[7]})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0,"use_client":1,"is_callback_token":1,"url":7})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0,"use_client":1,"is_callback_token":0})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0,"use_client":1,"is_callback_token":1,"scope":"a"})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0,"use_client":1,"is_callback_token":1,"scope":[]})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0,"use_client":1,"is_callback_token":1,"scope":[""]})")["code"], 40002);
  EXPECT_EQ(session(R"({"platform":0,"use_client":1,"is_callback_token":1,"url":"javascript:x"})")["code"],
            40002);
  EXPECT_TRUE(server.loginSessions().empty());
}

TEST_F(AccountServer, PlatformNumbersAreConfigurable) {
  SandboxOptions options;
  options.platformNumbers = {{31, Platform::douyin}};
  Sandbox numbered(options);
  TestClient other(numbered);
  const std::string token = numbered.issueAccountToken();

  other.post("/account/session", R"({"platform":31,"use_client":1,"is_callback_token":1})", {bearer(token)});

  ASSERT_EQ(numbered.loginSessions().size(), 1U);
  EXPECT_EQ(numbered.loginSessions()[0].platform, Platform::douyin);
}

TEST_F(AccountServer, EveryCallButTheFirstWantsALiveAccountToken) {
  const std::string platformToken = server.issueTokens(Platform::youtube).accessToken;
  const std::string id = openSession();
  for (const std::string& token : {std::string(), std::string("unknown"), platformToken}) {
    const Fields headers = token.empty() ? Fields{} : Fields{bearer(token)};
    EXPECT_EQ(client.post("/account/session", goodSession, headers).json()["code"], 40102);
    EXPECT_EQ(client.get("/account/code/" + id, headers).json()["code"], 40102);
    EXPECT_EQ(client.post("/account/token", R"({"refresh_token":"x"})", headers).json()["code"], 40102);
    EXPECT_EQ(client.post("/account/consume", R"({"use_client":1,"action_type":1})", headers).json()["code"],
              40102);
  }
}

TEST_F(AccountServer, ExpiredAccountTokenIsRefused) {
  server.expireAccountTokens();

  EXPECT_EQ(session(goodSession)["code"], 40102);
}

TEST_F(AccountServer, AutomaticConsentAllowsAtTheFirstQuestion) {
  const Json::Value answer = code(openSession());

  ASSERT_EQ(answer["code"], 0);
  const Json::Value& data = answer["data"];
  EXPECT_EQ(data["status"], 1);
  EXPECT_EQ(data["open_id"], server.users()[0].openId);
  EXPECT_EQ(data["expires_in"], 3600);
  EXPECT_TRUE(data["code"].isString());
  const auto access = server.token(data["access_token"].asString());
  ASSERT_TRUE(access);
  EXPECT_EQ(access->openId, server.users()[0].openId);
  const auto refreshing = server.token(data["refresh_token"].asString());
  ASSERT_TRUE(refreshing);
  EXPECT_EQ(refreshing->kind, sandbox::TokenKind::refresh);
}

TEST_F(AccountServer, ConsentCanTakeSomeQuestions) {
  server.setPollsBeforeConsent(2);
  const std::string id = openSession();

  const Json::Value first = code(id);
  EXPECT_EQ(first["data"]["status"], 0);
  EXPECT_FALSE(first["data"].isMember("access_token"));
  EXPECT_EQ(code(id)["data"]["status"], 0);
  EXPECT_EQ(code(id)["data"]["status"], 1);
  EXPECT_EQ(server.loginSessions()[0].polls, 3U);
}

TEST_F(AccountServer, AllowedLoginAnswersTheSameTokensAgain) {
  const std::string id = openSession();

  const Json::Value first = code(id);

  EXPECT_EQ(code(id)["data"], first["data"]);
}

TEST_F(AccountServer, ChosenUserIsTheOneWhoSignsIn) {
  const sandbox::User other = server.users()[2];
  ASSERT_TRUE(server.chooseUser(other.openId));
  EXPECT_FALSE(server.chooseUser("nobody"));

  EXPECT_EQ(code(openSession())["data"]["open_id"], other.openId);
}

TEST_F(AccountServer, AddedUserCanSignIn) {
  server.addUser({"new-1", "new@example.com", "New One", "New", "One", "fr"});
  server.setConsent(Consent::ask);
  const std::string id = openSession();

  EXPECT_TRUE(server.allow(id, "new-1"));

  EXPECT_EQ(code(id)["data"]["open_id"], "new-1");
}

TEST_F(AccountServer, AskedConsentStaysPendingUntilSomebodyAllows) {
  server.setConsent(Consent::ask);
  const std::string id = openSession();
  EXPECT_EQ(code(id)["data"]["status"], 0);
  EXPECT_EQ(server.waitForPendingLogin(std::chrono::seconds(30)), id);

  EXPECT_FALSE(server.allow(id, "nobody"));
  EXPECT_TRUE(server.allow(id));

  EXPECT_EQ(code(id)["data"]["status"], 1);
  EXPECT_FALSE(server.deny(id));
  EXPECT_EQ(server.waitForPendingLogin(std::chrono::milliseconds(0)), std::nullopt);
}

TEST_F(AccountServer, DeniedLoginAnswersStatusTwoWithoutTokens) {
  server.setConsent(Consent::ask);
  const std::string id = openSession();

  EXPECT_TRUE(server.deny(id));

  const Json::Value answer = code(id);
  EXPECT_EQ(answer["code"], 0);
  EXPECT_EQ(answer["data"]["status"], 2);
  EXPECT_FALSE(answer["data"].isMember("access_token"));
  EXPECT_FALSE(server.allow(id));
}

TEST_F(AccountServer, UnknownSessionIsRefused) {
  EXPECT_EQ(code("no-such-session")["code"], 40401);
}

TEST_F(AccountServer, CallbackAddressIsOurPageOrTheHosts) {
  const std::string ours = code(openSession())["data"]["callback_url"].asString();
  EXPECT_EQ(client.get(targetOf(ours)).status, 200);

  const std::string id =
      session(R"({"platform":0,"use_client":1,"is_callback_token":1,"url":"https://host.example/back?a=1"})")
          ["data"]["session_id"]
              .asString();
  const std::string theirs = code(id)["data"]["callback_url"].asString();
  EXPECT_EQ(theirs.rfind("https://host.example/back?a=1&code=sbx-code-", 0), 0U) << theirs;
}

TEST_F(AccountServer, RefreshBringsNewTokensAndSpendsTheOldOne) {
  const sandbox::IssuedTokens tokens = server.issueTokens(Platform::youtube);

  const Json::Value answer = refresh(tokens.refreshToken);

  ASSERT_EQ(answer["code"], 0);
  EXPECT_NE(answer["data"]["access_token"], tokens.accessToken);
  EXPECT_NE(answer["data"]["refresh_token"], tokens.refreshToken);
  EXPECT_EQ(answer["data"]["expires_in"], 3600);
  EXPECT_EQ(refresh(tokens.refreshToken)["code"], 40103);
  EXPECT_EQ(refresh(answer["data"]["refresh_token"].asString())["code"], 0);
}

TEST_F(AccountServer, RefreshTokenStaysWhereRotationIsOff) {
  SandboxOptions options;
  options.rotateRefreshTokens = false;
  Sandbox steady(options);
  TestClient other(steady);
  const sandbox::IssuedTokens tokens = steady.issueTokens(Platform::youtube);
  const std::string body = R"({"refresh_token":")" + tokens.refreshToken + "\"}";
  const Fields headers{bearer(steady.issueAccountToken())};

  other.post("/account/token", body, headers);
  const Json::Value again = other.post("/account/token", body, headers).json();

  EXPECT_EQ(again["code"], 0);
  EXPECT_EQ(again["data"]["refresh_token"], tokens.refreshToken);
}

TEST_F(AccountServer, RefreshRefusesWhatIsNoLiveRefreshToken) {
  const sandbox::IssuedTokens tokens = server.issueTokens(Platform::youtube);

  EXPECT_EQ(refresh("unknown")["code"], 40103);
  EXPECT_EQ(refresh(tokens.accessToken)["code"], 40103);
  EXPECT_EQ(refresh("")["code"], 40002);
  EXPECT_EQ(client.post("/account/token", "{}", {bearer(accountToken)}).json()["code"], 40002);
  EXPECT_EQ(client.post("/account/token", R"({"refresh_token":7})", {bearer(accountToken)}).json()["code"],
            40002);
  EXPECT_EQ(client.post("/account/token", "", {bearer(accountToken)}).json()["code"], 40001);
  server.revokeTokens(tokens.accessToken.empty() ? "" : server.users()[0].openId);
  EXPECT_EQ(refresh(tokens.refreshToken)["code"], 40103);
}

TEST_F(AccountServer, TokenLifetimeIsAnnounced) {
  server.setTokenLifetime(std::chrono::seconds(61));

  EXPECT_EQ(code(openSession())["data"]["expires_in"], 61);
}

TEST_F(AccountServer, TokensCanBeMadeLong) {
  SandboxOptions options;
  options.tokenLength = 100'000;
  Sandbox wordy(options);
  TestClient other(wordy);
  const std::string token = wordy.issueTokens(Platform::youtube).accessToken;

  ASSERT_EQ(token.size(), 100'000U);
  EXPECT_EQ(other.get("/google/oauth2/v2/userinfo?alt=json&access_token=" + token).status, 200);
  EXPECT_EQ(
      other.get("/youtube/v3/videoCategories?part=snippet&regionCode=us&alt=json", {bearer(token)}).status,
      200);
}

TEST_F(AccountServer, ConsumeWantsTwoIntegers) {
  EXPECT_EQ(consume(R"({"use_client":1,"action_type":3})")["code"], 0);
  EXPECT_EQ(consume(R"({"use_client":"1","action_type":3})")["code"], 40002);
  EXPECT_EQ(consume(R"({"use_client":1,"action_type":"3"})")["code"], 40002);
  EXPECT_EQ(consume(R"({"use_client":1})")["code"], 40002);
  EXPECT_EQ(consume(R"({"action_type":3})")["code"], 40002);
  EXPECT_EQ(consume("")["code"], 40001);
}

TEST_F(AccountServer, MethodsAreFixed) {
  for (const char* path : {"client_credentials", "session", "token", "consume"}) {
    EXPECT_EQ(client.get(std::string("/account/") + path).status, 405) << path;
  }
  EXPECT_EQ(client.post("/account/code/x", "").status, 405);
  EXPECT_EQ(client.get("/account/nothing").status, 404);
}

}  // namespace
