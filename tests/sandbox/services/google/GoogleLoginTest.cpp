#include "sandbox/OauthSteps.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"
#include "sandbox/base/JsonText.h"

#include <gtest/gtest.h>

namespace {

using sandbox::Platform;

constexpr const char* login = "/google/o/oauth2/v2/auth";
constexpr const char* uploadPath = "/youtube-scripts/upload/v3";

class GoogleScripts : public testing::Test {
 protected:
  Answer token(const Fields& fields) { return client.post("/google/token", formOf(fields), {formType()}); }
  Answer refresh(const std::string& refreshToken) {
    return token({{"grant_type", "refresh_token"},
                  {"refresh_token", refreshToken},
                  {"client_id", appId},
                  {"client_secret", appSecret}});
  }
  Answer channels(const std::string& accessToken) {
    return client.get("/youtube/v3/channels?part=snippet&mine=true", {bearer(accessToken)});
  }

  sandbox::Sandbox server;
  TestClient client{server};
};

TEST_F(GoogleScripts, CodeAndVerifierBecomeTokens) {
  const Answer answer = token(codeFields(codeFrom(client, login)));

  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.json()["token_type"], "Bearer");
  EXPECT_EQ(answer.json()["scope"], "video upload");
  EXPECT_EQ(channels(answer.json()["access_token"].asString()).json()["items"][0]["snippet"]["title"],
            server.users()[0].name);
}

TEST_F(GoogleScripts, VerifierMustFitTheChallenge) {
  const std::string other(43, 'x');
  EXPECT_EQ(token(with(codeFields(codeFrom(client, login)), "code_verifier", other)).json()["error"],
            "invalid_grant");
  EXPECT_EQ(token(without(codeFields(codeFrom(client, login)), "code_verifier")).json()["error"],
            "invalid_grant");
  EXPECT_EQ(token(with(codeFields(codeFrom(client, login)), "client_secret", "wrong")).status, 401);
  EXPECT_EQ(token({{"grant_type", "password"}}).json()["error"], "unsupported_grant_type");
}

TEST_F(GoogleScripts, CodeIsSpentByAWrongVerifierToo) {
  const std::string code = codeFrom(client, login);
  EXPECT_EQ(token(with(codeFields(code), "code_verifier", std::string(43, 'x'))).status, 400);
  EXPECT_EQ(token(codeFields(code)).status, 400);
}

TEST_F(GoogleScripts, RefreshTokenComesWithOfflineAccessAlone) {
  const std::string address =
      client.get(targetWith(login, without(loginFields(), "access_type"))).header("Location");
  const Answer online = token(codeFields(parameterOf(address, "code")));
  EXPECT_EQ(online.status, 200);
  EXPECT_FALSE(online.json().isMember("refresh_token"));
}

TEST_F(GoogleScripts, RefreshTokenStaysGoodAndIsNotGivenAgain) {
  const Answer first = token(codeFields(codeFrom(client, login)));
  const std::string refreshToken = first.json()["refresh_token"].asString();

  const Answer second = refresh(refreshToken);
  const Answer third = refresh(refreshToken);

  ASSERT_EQ(second.status, 200) << second.body;
  EXPECT_FALSE(second.json().isMember("refresh_token"));
  EXPECT_NE(second.json()["access_token"], third.json()["access_token"]);
  EXPECT_EQ(channels(third.json()["access_token"].asString()).status, 200);
  EXPECT_EQ(refresh("unknown").json()["error"], "invalid_grant");
  EXPECT_EQ(refresh(server.issueTokens(Platform::twitch).refreshToken).json()["error"], "invalid_grant");
}

TEST_F(GoogleScripts, RevokingEndsTheWholeGrant) {
  const Answer tokens = token(codeFields(codeFrom(client, login)));
  const std::string refreshToken = tokens.json()["refresh_token"].asString();
  const auto revoke = [&] {
    return client.post("/google/revoke", formOf({{"token", refreshToken}}), {formType()});
  };

  EXPECT_EQ(revoke().status, 200);

  EXPECT_EQ(channels(tokens.json()["access_token"].asString()).status, 401);
  EXPECT_EQ(refresh(refreshToken).status, 400);
  EXPECT_EQ(revoke().json()["error"], "invalid_token");
}

TEST_F(GoogleScripts, ChannelsNeedPartAndFilter) {
  const std::string token = server.issueTokens(Platform::youtube).accessToken;
  EXPECT_EQ(client.get("/youtube/v3/channels?mine=true", {bearer(token)}).status, 400);
  EXPECT_EQ(client.get("/youtube/v3/channels?part=snippet", {bearer(token)}).status, 400);
  EXPECT_EQ(channels("unknown").status, 401);
}

TEST_F(GoogleScripts, UploadOfAScriptNeedsNoAltAndTakesAThumbnail) {
  const std::string token = server.issueTokens(Platform::youtube).accessToken;
  const std::string file = someFile(1000);
  const Answer opened =
      client.post(std::string(uploadPath) + "/videos?uploadType=resumable&part=snippet,status", metadata("t"),
                  openHeaders(token, file.size()));
  ASSERT_EQ(opened.status, 200) << opened.body;
  const std::string session = targetOf(opened.header("Location"));
  EXPECT_TRUE(session.starts_with(uploadPath)) << session;
  const std::string id = putChunk(client, session, token, file, 0, file.size()).json()["id"].asString();
  const auto thumbnail = [&](const std::string& video, const std::string& bytes, const std::string& type) {
    return client
        .post(std::string(uploadPath) + "/thumbnails/set?videoId=" + video, bytes,
              {bearer(token), {"Content-Type", type}})
        .status;
  };

  for (const char* type : {"image/png", "application/octet-stream", "image/jpeg"}) {
    EXPECT_EQ(thumbnail(id, "jpeg", type), 200) << type;
  }

  EXPECT_EQ(thumbnail(id, "gif", "image/gif"), 400);
  EXPECT_EQ(thumbnail("none", "jpeg", "image/jpeg"), 404);
  EXPECT_EQ(thumbnail(id, "text", "text/plain"), 400);
  EXPECT_EQ(thumbnail(id, "", "image/jpeg"), 400);
  EXPECT_EQ(thumbnail(id, std::string((2 << 20) + 1, 'x'), "image/jpeg"), 413);
  EXPECT_EQ(client
                .post(std::string(uploadPath) + "/thumbnails/set?videoId=" + id, "jpeg",
                      {bearer("unknown"), {"Content-Type", "image/jpeg"}})
                .status,
            401);
  EXPECT_EQ(client
                .post(std::string(uploadPath) + "/thumbnails/set?videoId=" + id, "jpeg",
                      {bearer(server.issueTokens(Platform::youtube, server.users()[1].openId).accessToken),
                       {"Content-Type", "image/jpeg"}})
                .status,
            403);
  const Json::Value kept =
      sandbox::parseJson(server.uploads()[0].metadata).value_or(Json::Value(Json::objectValue));
  EXPECT_EQ(kept["thumbnail"]["sha256"], sha256Of("jpeg"));
}

}  // namespace
