#include "sandbox/OauthSteps.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"

#include <gtest/gtest.h>

namespace {

using sandbox::Platform;

constexpr std::size_t mebibyte = std::size_t{1} << 20;

class TwitchScripts : public testing::Test {
 protected:
  Answer token(const Fields& fields) {
    return client.post("/twitch/oauth2/token", formOf(fields), {formType()});
  }
  Answer refresh(const std::string& refreshToken) {
    return token({{"grant_type", "refresh_token"},
                  {"refresh_token", refreshToken},
                  {"client_id", appId},
                  {"client_secret", appSecret}});
  }
  Answer users(const std::string& text, const std::string& clientId = appId) {
    return client.get("/twitch/helix/users", {bearer(text), {"Client-Id", clientId}});
  }
  Fields video() {
    return {{"channel_id", server.users()[0].openId},
            {"title", "t"},
            {"tag_list", "a,b"},
            {"viewable", "private"}};
  }
  Fields headers() {
    return {{"Accept", "application/vnd.twitchtv.v5+json"},
            {"Client-ID", appId},
            {"Authorization", "OAuth " + accessToken}};
  }
  Answer create(const Fields& fields, const Fields& with) {
    return client.post(targetWith("/twitch/kraken/videos", fields), "", with);
  }
  Answer part(const Json::Value& upload, std::size_t number, const std::string& bytes) {
    return client.put(
        targetWith(targetOf(upload["url"].asString()),
                   {{"part", std::to_string(number)}, {"upload_token", upload["token"].asString()}}),
        bytes);
  }
  Answer complete(const Json::Value& upload) {
    return client.post(targetWith(targetOf(upload["url"].asString()) + "/complete",
                                  {{"upload_token", upload["token"].asString()}}),
                       "");
  }
  Json::Value created() { return create(video(), headers()).json()["upload"]; }

  sandbox::Sandbox server;
  TestClient client{server};
  std::string accessToken = server.issueTokens(Platform::twitch).accessToken;
};

TEST_F(TwitchScripts, CodeBecomesTokensWithTheirUser) {
  const Answer answer = token(codeFields(codeFrom(client, "/twitch/oauth2/authorize")));

  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.json()["scope"][0], "video");
  const Answer user = users(answer.json()["access_token"].asString());
  EXPECT_EQ(user.json()["data"][0]["login"], "ada");
  EXPECT_EQ(user.json()["data"][0]["display_name"], server.users()[0].name);
}

TEST_F(TwitchScripts, RefreshTokenIsGoodOnce) {
  const Answer first = token(codeFields(codeFrom(client, "/twitch/oauth2/authorize")));
  const std::string spent = first.json()["refresh_token"].asString();

  const Answer second = refresh(spent);

  ASSERT_EQ(second.status, 200) << second.body;
  EXPECT_EQ(users(second.json()["access_token"].asString()).status, 200);
  EXPECT_EQ(refresh(spent).json()["message"], "Invalid refresh token");
  EXPECT_EQ(refresh(second.json()["refresh_token"].asString()).status, 200);
}

TEST_F(TwitchScripts, TokenEndpointsAreStrict) {
  EXPECT_EQ(token(codeFields("unknown")).json()["message"], "Invalid authorization code");
  EXPECT_EQ(token(with(codeFields("unknown"), "client_secret", "wrong")).status, 403);
  EXPECT_EQ(token(with(codeFields("unknown"), "grant_type", "password")).status, 400);
  EXPECT_EQ(users("unknown").json()["status"], 401);
  EXPECT_EQ(users(accessToken, "other").status, 401);
}

TEST_F(TwitchScripts, RevokedTokenIsDead) {
  const auto revoke = [&](const std::string& id) {
    return client
        .post("/twitch/oauth2/revoke", formOf({{"client_id", id}, {"token", accessToken}}), {formType()})
        .status;
  };
  EXPECT_EQ(revoke("other"), 400);
  EXPECT_EQ(revoke(appId), 200);
  EXPECT_EQ(users(accessToken).status, 401);
  EXPECT_EQ(revoke(appId), 400);
}

TEST_F(TwitchScripts, VideoArrivesWholeInParts) {
  const std::string file = someFile(5 * mebibyte + 123);
  const Answer answer = create(video(), headers());
  ASSERT_EQ(answer.status, 200) << answer.body;
  const Json::Value upload = answer.json()["upload"];

  EXPECT_EQ(part(upload, 1, file.substr(0, 5 * mebibyte)).status, 200);
  EXPECT_EQ(part(upload, 2, file.substr(5 * mebibyte)).status, 200);
  EXPECT_EQ(part(upload, 2, file.substr(5 * mebibyte)).status, 200) << "the answer was lost";
  EXPECT_FALSE(server.uploads()[0].complete);
  EXPECT_EQ(complete(upload).status, 200);

  const auto kept = server.uploadByMediaId(answer.json()["video"]["_id"].asString().substr(1))
                        .value_or(sandbox::UploadRecord());
  EXPECT_TRUE(kept.complete);
  EXPECT_EQ(kept.sha256, sha256Of(file));
  EXPECT_EQ(kept.receivedSize, file.size());
  EXPECT_EQ(part(upload, 3, "x").status, 400) << "it is complete";
}

TEST_F(TwitchScripts, VideoTellsItsStateAndCanBeRemoved) {
  const Json::Value answer = create(video(), headers()).json();
  const std::string target = "/twitch/kraken/videos/" + answer["video"]["_id"].asString();
  const auto status = [&] { return client.get(target, headers()).json()["status"]; };
  EXPECT_EQ(status(), "created");
  EXPECT_EQ(client.get("/twitch/kraken/videos/" + target.substr(target.find("/v") + 8), headers()).status,
            200)
      << "with or without the letter in front";
  part(answer["upload"], 1, "x");
  EXPECT_EQ(complete(answer["upload"]).status, 200);
  EXPECT_EQ(status(), "recorded");
  EXPECT_EQ(complete(answer["upload"]).status, 400) << "it is complete already";

  EXPECT_EQ(client.get(target, without(headers(), "Accept")).status, 400);
  EXPECT_EQ(client.get(target, without(headers(), "Client-ID")).status, 400);
  EXPECT_EQ(client.get(target, without(headers(), "Authorization")).status, 401);
  EXPECT_EQ(client.get("/twitch/kraken/videos/1", headers()).status, 404);
  const std::string other = server.issueTokens(Platform::twitch, server.users()[1].openId).accessToken;
  EXPECT_EQ(client.remove(target, with(headers(), "Authorization", "OAuth " + other)).status, 404);
  EXPECT_EQ(client.remove(target, headers()).status, 204);
  EXPECT_EQ(client.remove(target, headers()).status, 404);
}

TEST_F(TwitchScripts, CreatingIsStrict) {
  EXPECT_EQ(create(with(video(), "channel_id", server.users()[1].openId), headers()).status, 403);
  EXPECT_EQ(create(with(video(), "channel_id", "ada"), headers()).status, 403);
  EXPECT_EQ(create(with(video(), "tag_list", std::string(101, 't')), headers()).status, 400);
  EXPECT_EQ(create(with(video(), "tag_list", std::string(100, 't') + ",t"), headers()).status, 200);
  std::string tags = std::string(100, 't');
  for (int count = 1; count < 5; ++count) tags += "," + std::string(99, 't');
  EXPECT_EQ(create(with(video(), "tag_list", tags), headers()).status, 200);
  EXPECT_EQ(create(with(video(), "tag_list", tags + ","), headers()).status, 400);
  EXPECT_EQ(create(without(video(), "title"), headers()).status, 400);
  EXPECT_EQ(create(with(video(), "title", std::string(101, 't')), headers()).status, 400);
  EXPECT_EQ(create(with(video(), "title", std::string(100, 't')), headers()).status, 200);
  EXPECT_EQ(create(with(video(), "game", "chess"), headers()).status, 200) << "nobody here knows it";
  EXPECT_EQ(create(video(), with(headers(), "Accept", "application/vnd.twitchtv.v3+json")).status, 400);
  EXPECT_EQ(create(with(video(), "viewable", "friends"), headers()).status, 400);
  EXPECT_EQ(create(video(), without(headers(), "Accept")).status, 400);
  EXPECT_EQ(create(video(), without(headers(), "Client-ID")).status, 400);
  EXPECT_EQ(create(video(), with(headers(), "Authorization", "Bearer " + accessToken)).status, 401);
}

TEST_F(TwitchScripts, PartsAreStrict) {
  const Json::Value upload = created();
  Json::Value foreign = upload;
  foreign["token"] = "unknown";
  EXPECT_EQ(part(foreign, 1, "x").status, 403);
  EXPECT_EQ(complete(foreign).status, 403);
  EXPECT_EQ(part(upload, 0, "x").status, 400);
  EXPECT_EQ(part(upload, 2, "x").status, 400) << "the first one is missing";
  EXPECT_EQ(part(upload, 1, "").status, 400);
  EXPECT_EQ(part(upload, 1, std::string(25 * mebibyte + 1, 'x')).status, 413);
  EXPECT_EQ(complete(upload).status, 400) << "nothing was sent";
  EXPECT_EQ(part(upload, 1, someFile(5 * mebibyte - 1)).status, 200);
  EXPECT_EQ(part(upload, 2, "x").status, 400) << "the one before is too small to be followed";
  EXPECT_EQ(part(upload, 1, someFile(5 * mebibyte)).status, 200) << "sent again, larger";
  EXPECT_EQ(part(upload, 2, "x").status, 200);
  EXPECT_EQ(part(upload, 1, someFile(5 * mebibyte)).status, 400) << "no longer the last";
  EXPECT_EQ(complete(upload).status, 200);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(someFile(5 * mebibyte) + "x"));
}

TEST_F(TwitchScripts, WithdrawnServiceIsGone) {
  sandbox::SandboxOptions options;
  options.twitchUploadWithdrawn = true;
  const sandbox::Sandbox withdrawn(options);
  TestClient other(withdrawn);

  const Answer answer = other.post(targetWith("/twitch/kraken/videos", video()), "", headers());

  EXPECT_EQ(answer.status, 410);
  EXPECT_EQ(answer.json()["error"], "Gone");
}

}  // namespace
