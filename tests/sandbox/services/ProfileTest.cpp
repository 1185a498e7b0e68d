#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"

#include <gtest/gtest.h>

namespace {

using sandbox::Platform;

class Profile : public testing::Test {
 protected:
  std::string token(Platform platform) { return server.issueTokens(platform).accessToken; }
  Answer google(const std::string& accessToken) {
    return client.get("/google/oauth2/v2/userinfo?alt=json&access_token=" + accessToken);
  }
  Answer categories(const std::string& accessToken,
                    const std::string& query = "part=snippet&regionCode=us&alt=json") {
    return client.get("/youtube/v3/videoCategories?" + query,
                      {{"accept", "application/json"}, {"authorization", "Bearer " + accessToken}});
  }
  Json::Value tiktok(const std::string& body) { return client.post("/tiktok/user/info/", body).json(); }
  Json::Value douyin(const std::string& accessToken, const std::string& openId) {
    return client.get("/douyin/oauth/userinfo/?access_token=" + accessToken + "&open_id=" + openId).json();
  }

  sandbox::Sandbox server;
  TestClient client{server};
  const sandbox::User user = server.users()[0];
};

TEST_F(Profile, GoogleNamesTheTokensUser) {
  const Answer answer = google(token(Platform::youtube));

  EXPECT_EQ(answer.status, 200);
  const Json::Value profile = answer.json();
  EXPECT_EQ(profile["id"], user.openId);
  EXPECT_EQ(profile["email"], user.email);
  EXPECT_EQ(profile["name"], user.name);
  EXPECT_EQ(profile["given_name"], user.givenName);
  EXPECT_EQ(profile["family_name"], user.familyName);
  EXPECT_EQ(profile["locale"], user.locale);
  EXPECT_EQ(client.get(targetOf(profile["picture"].asString())).header("Content-Type"), "image/svg+xml");
  EXPECT_EQ(client.get("/avatar/nobody").status, 404);
}

TEST_F(Profile, GoogleRefusesWithItsOwnErrorShape) {
  const std::string other = token(Platform::tiktok);
  for (const std::string& bad : {std::string("unknown"), other, std::string()}) {
    const Answer answer = google(bad);
    EXPECT_EQ(answer.status, 401);
    EXPECT_EQ(answer.json()["error"]["code"], 401);
    EXPECT_EQ(answer.json()["error"]["message"], "Invalid Credentials");
  }
  const std::string path = "/google/oauth2/v2/userinfo?alt=";
  EXPECT_EQ(client.get("/google/oauth2/v2/userinfo?access_token=" + token(Platform::youtube)).status, 400);
  EXPECT_EQ(client.get(path + "media&access_token=" + token(Platform::youtube)).status, 400);
  EXPECT_EQ(client.get(path + "json").status, 401);
  EXPECT_EQ(client.get(path + "json", {bearer(token(Platform::youtube))}).status, 200);
}

TEST_F(Profile, MethodsAreFixed) {
  EXPECT_EQ(client.post("/google/oauth2/v2/userinfo?alt=json", "").status, 405);
  EXPECT_EQ(client.post("/youtube/v3/videoCategories?part=snippet", "").status, 405);
  EXPECT_EQ(client.get("/tiktok/user/info/").status, 405);
  EXPECT_EQ(client.post("/douyin/oauth/userinfo/", "").status, 405);
}

TEST_F(Profile, ExpiredAndRevokedTokensAreRefused) {
  const std::string expired = token(Platform::youtube);
  server.expireAccessTokens(user.openId);
  const std::string revoked = token(Platform::youtube);
  server.revokeTokens();
  const std::string good = token(Platform::youtube);

  EXPECT_EQ(google(expired).status, 401);
  EXPECT_EQ(google(revoked).status, 401);
  EXPECT_EQ(google(good).status, 200);
}

TEST_F(Profile, TokensOfAShortLifeEndByThemselves) {
  server.setTokenLifetime(std::chrono::seconds(0));

  EXPECT_EQ(google(token(Platform::youtube)).status, 401);
}

TEST_F(Profile, ExpiringOneUserLeavesTheOthers) {
  const std::string first = server.issueTokens(Platform::youtube, server.users()[0].openId).accessToken;
  const std::string second = server.issueTokens(Platform::youtube, server.users()[1].openId).accessToken;

  server.expireAccessTokens(server.users()[0].openId);

  EXPECT_EQ(google(first).status, 401);
  EXPECT_EQ(google(second).json()["id"], server.users()[1].openId);
}

TEST_F(Profile, CategoriesComeWithTitlesAndAssignable) {
  const Answer answer = categories(token(Platform::youtube));

  ASSERT_EQ(answer.status, 200);
  const Json::Value items = answer.json()["items"];
  ASSERT_GT(items.size(), 5U);
  EXPECT_EQ(items[0]["snippet"]["title"], "Film & Animation");
  EXPECT_EQ(items[0]["snippet"]["assignable"], true);
}

TEST_F(Profile, CategoriesCheckBearerAndQuery) {
  const std::string good = token(Platform::youtube);

  EXPECT_EQ(categories("unknown").status, 401);
  EXPECT_EQ(categories(good, "part=snippet&regionCode=US").status, 200) << "alt may be left out";
  EXPECT_EQ(categories(good, "part=id&regionCode=us&alt=json").status, 400);
  EXPECT_EQ(categories(good, "part=snippet&alt=json").status, 400);
  EXPECT_EQ(categories(good, "part=snippet&regionCode=xx&alt=json").json()["error"]["code"], 400);
  EXPECT_EQ(client.get("/youtube/v3/videoCategories?part=snippet&regionCode=us&access_token=" + good).status,
            401);
}

TEST_F(Profile, TiktokAnswersTheFieldsThatWereAsked) {
  const std::string good = token(Platform::tiktok);

  const Json::Value answer =
      tiktok(R"({"access_token":")" + good + R"(","fields":["open_id","avatar_url","display_name"]})");

  EXPECT_EQ(answer["error"]["code"], 0);
  EXPECT_EQ(answer["data"]["user"]["open_id"], user.openId);
  EXPECT_EQ(answer["data"]["user"]["display_name"], user.name);
  EXPECT_TRUE(answer["data"]["user"]["avatar_url"].isString());
  EXPECT_FALSE(answer["data"]["user"].isMember("union_id"));
}

TEST_F(Profile, TiktokKnowsSevenFields) {
  const Json::Value answer = tiktok(
      R"({"access_token":")" + token(Platform::tiktok) +
      R"(","fields":["open_id","union_id","avatar_url","avatar_url_100","avatar_url_200","avatar_large_url","display_name"]})");

  EXPECT_EQ(answer["error"]["code"], 0);
  EXPECT_EQ(answer["data"]["user"].size(), 7U);
}

TEST_F(Profile, TiktokHasFieldsOfItsOwnChoiceUnlessAsked) {
  const Json::Value answer = tiktok(R"({"access_token":")" + token(Platform::tiktok) + R"(","open_id":"x"})");

  EXPECT_EQ(answer["error"]["code"], 0);
  EXPECT_EQ(answer["data"]["user"].getMemberNames(), (std::vector<std::string>{"avatar_url", "open_id"}));
}

TEST_F(Profile, TiktokRefusesWithItsOwnErrorShape) {
  const std::string good = token(Platform::tiktok);
  const std::string fields = R"(,"fields":["open_id"]})";

  EXPECT_EQ(tiktok("no json")["error"]["code"], 2100005);
  EXPECT_EQ(tiktok("[]")["error"]["code"], 2100005);
  EXPECT_EQ(tiktok(R"({"fields":["open_id"]})")["error"]["code"], 2100005);
  EXPECT_EQ(tiktok("{\"access_token\":7" + fields)["error"]["code"], 2100005);
  for (const char* wanted : {R"(["shoe_size"])", "[]", "[7]", R"("open_id")", "null"}) {
    const std::string body = R"({"access_token":")" + good + R"(","fields":)" + wanted + "}";
    EXPECT_EQ(tiktok(body)["error"]["code"], 2100005) << wanted;
  }
  EXPECT_EQ(tiktok(R"({"access_token":"unknown")" + fields)["error"]["code"], 2190002);
  server.expireAccessTokens();
  const Json::Value expired = tiktok(R"({"access_token":")" + good + "\"" + fields);
  EXPECT_EQ(expired["error"]["code"], 2190008);
  EXPECT_EQ(expired["error"]["message"], "Access token expired");
}

TEST_F(Profile, DouyinAnswersForTokenAndOpenId) {
  const Json::Value answer = douyin(token(Platform::douyin), user.openId);

  EXPECT_EQ(answer["data"]["error_code"], 0);
  EXPECT_EQ(answer["data"]["open_id"], user.openId);
  EXPECT_EQ(answer["data"]["nickname"], user.name);
  EXPECT_TRUE(answer["data"]["union_id"].isString());
  EXPECT_TRUE(answer["data"]["avatar"].isString());
}

TEST_F(Profile, DouyinRefusesWithItsOwnErrorShape) {
  const std::string good = token(Platform::douyin);

  EXPECT_EQ(douyin("unknown", user.openId)["data"]["error_code"], 2190002);
  EXPECT_EQ(douyin("", user.openId)["data"]["error_code"], 2100005);
  EXPECT_EQ(douyin(good, "")["data"]["error_code"], 2100005);
  EXPECT_EQ(douyin(good, server.users()[1].openId)["data"]["error_code"], 2190015);
  server.expireAccessTokens();
  EXPECT_EQ(douyin(good, user.openId)["data"]["error_code"], 2190008);
  EXPECT_EQ(douyin(good, user.openId)["data"]["description"], "access_token expired");
}

}  // namespace
