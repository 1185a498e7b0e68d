#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using sandbox::Fault;
using sandbox::Platform;
using sandbox::Route;
using testing::StartsWith;

class Inspection : public testing::Test {
 protected:
  Json::Value get(const std::string& name) { return client.get("/sandbox/" + name).json(); }
  Answer post(const std::string& name, const std::string& body) {
    return client.post("/sandbox/" + name, body);
  }
  int userInfo() {
    return client.get("/google/oauth2/v2/userinfo?alt=json&access_token=" + tokens.accessToken).status;
  }

  sandbox::Sandbox server;
  TestClient client{server};
  sandbox::IssuedTokens tokens = server.issueTokens(Platform::youtube);
};

TEST_F(Inspection, ShowsTheCloudConfiguration) {
  EXPECT_EQ(client.get("/sandbox/config").body, server.cloudConfigJson());
  EXPECT_EQ(get("config")["urlLFServerUserSupportCode"], server.baseUrl() + "/account/code");
}

TEST_F(Inspection, ShowsUploads) {
  const std::string file = someFile(5000);
  putChunk(client, openUpload(client, tokens.accessToken, file.size()), tokens.accessToken, file, 0,
           file.size());

  const Json::Value uploads = get("uploads");

  ASSERT_EQ(uploads.size(), 1U);
  EXPECT_EQ(uploads[0]["service"], "youtube");
  EXPECT_EQ(uploads[0]["complete"], true);
  EXPECT_EQ(uploads[0]["received_size"], 5000);
  EXPECT_EQ(uploads[0]["sha256"], sha256Of(file));
  EXPECT_EQ(uploads[0]["media_id"], server.uploads()[0].mediaId);
}

TEST_F(Inspection, ShowsRequestsOfAllRoutesOrOfOne) {
  userInfo();
  client.get("/nowhere");

  EXPECT_EQ(get("requests?route=googleUserInfo").size(), 1U);
  EXPECT_EQ(get("requests?route=googleUserInfo")[0]["status"], 200);
  EXPECT_GE(get("requests").size(), 3U);
}

TEST_F(Inspection, ShowsAndChoosesUsers) {
  const std::string other = server.users()[1].openId;

  EXPECT_EQ(post("users/choose", R"({"open_id":")" + other + "\"}").status, 200);

  EXPECT_EQ(get("users")[1]["chosen"], true);
  EXPECT_EQ(get("users")[0]["chosen"], false);
  EXPECT_EQ(post("users/choose", R"({"open_id":"nobody"})").status, 400);
}

TEST_F(Inspection, SetsConsentAndShowsLogins) {
  EXPECT_EQ(post("consent", R"({"mode":"ask"})").status, 200);
  client.post("/account/session", R"({"platform":0,"use_client":1,"is_callback_token":1})",
              {bearer(server.issueAccountToken())});

  const Json::Value logins = get("logins");
  ASSERT_EQ(logins.size(), 1U);
  EXPECT_EQ(logins[0]["decision"], "pending");
  server.allow(logins[0]["session_id"].asString());
  EXPECT_EQ(get("logins")[0]["decision"], "allowed");
  EXPECT_EQ(post("consent", R"({"mode":"sometimes"})").status, 400);
}

TEST_F(Inspection, DecidesALogin) {
  server.setConsent(sandbox::Consent::ask);
  const std::string open = R"({"platform":0,"use_client":1,"is_callback_token":1})";
  client.post("/account/session", open, {bearer(server.issueAccountToken())});
  client.post("/account/session", open, {bearer(server.issueAccountToken())});
  const std::string first = R"({"session_id":")" + server.loginSessions()[0].id + "\"";
  const std::string second = R"({"session_id":")" + server.loginSessions()[1].id + "\"";

  EXPECT_EQ(post("logins/decide", first + R"(,"decision":"maybe"})").status, 400);
  EXPECT_EQ(post("logins/decide", R"({"session_id":"none","decision":"deny"})").status, 400);
  EXPECT_EQ(post("logins/decide", first + R"(,"decision":"deny"})").status, 200);
  EXPECT_EQ(post("logins/decide", first + R"(,"decision":"allow"})").status, 400);
  EXPECT_EQ(
      post("logins/decide", second + R"(,"decision":"allow","open_id":")" + server.users()[1].openId + "\"}")
          .status,
      200);

  EXPECT_EQ(get("logins")[0]["decision"], "denied");
  EXPECT_EQ(get("logins")[1]["open_id"], server.users()[1].openId);
}

TEST_F(Inspection, EndsTheTokensOfOneLogin) {
  const auto others = server.issueTokens(Platform::douyin);
  const std::string whose = R"("platform":0,"open_id":")" + server.users()[0].openId + "\"}";

  EXPECT_EQ(post("tokens/end", R"({"kind":"access",)" + whose).status, 200);

  EXPECT_EQ(userInfo(), 401);
  EXPECT_FALSE(server.token(tokens.refreshToken)->revoked);
  EXPECT_EQ(post("tokens/end", R"({"kind":"all",)" + whose).status, 200);
  EXPECT_TRUE(server.token(tokens.refreshToken)->revoked);
  EXPECT_FALSE(server.token(others.accessToken)->revoked);
  EXPECT_GT(server.token(others.accessToken)->expiry, std::chrono::system_clock::now());
}

TEST_F(Inspection, EndsTheApplicationsTokens) {
  const std::string token = server.issueAccountToken();

  EXPECT_EQ(post("tokens/end", R"({"kind":"account"})").status, 200);

  EXPECT_EQ(client.post("/account/consume", "{}", {bearer(token)}).json()["code"], 40102);
  EXPECT_EQ(userInfo(), 200);
}

TEST_F(Inspection, EndsNoTokensWithoutKnowingWhose) {
  EXPECT_EQ(post("tokens/end", R"({"kind":"some"})").status, 400);
  EXPECT_EQ(post("tokens/end", R"({"kind":"all"})").status, 400);
  EXPECT_EQ(post("tokens/end", R"({"kind":"all","platform":0,"open_id":"nobody"})").status, 400);
  EXPECT_EQ(
      post("tokens/end", R"({"kind":"all","platform":99,"open_id":")" + server.users()[0].openId + "\"}")
          .status,
      400);
  EXPECT_EQ(userInfo(), 200);
}

TEST_F(Inspection, WithdrawsOneFault) {
  const auto first = server.orderFault(Route::consume, sandbox::Fault::stall());
  server.orderFault(Route::session, sandbox::Fault::stall());

  EXPECT_EQ(post("faults/clear", R"({"id":)" + std::to_string(first) + "}").status, 200);

  EXPECT_EQ(get("faults")[0]["withdrawn"], true);
  EXPECT_EQ(get("faults")[1]["withdrawn"], false);
  EXPECT_EQ(server.faultsOutstanding(), 1U);
  EXPECT_EQ(post("faults/clear", R"({"id":99})").status, 400);
  EXPECT_EQ(post("faults/clear", R"({"id":"all"})").status, 400);
  EXPECT_EQ(server.faultsOutstanding(), 1U);
}

TEST_F(Inspection, ExpiresTokens) {
  EXPECT_EQ(userInfo(), 200);

  post("tokens/expire", "{}");

  EXPECT_EQ(userInfo(), 401);
}

TEST_F(Inspection, OrdersFaultsAndCountsThem) {
  const Answer ordered = post("faults", R"({"route":"googleUserInfo","kind":"status","code":503,"text":"{}",)"
                                        R"("headers":{"Retry-After":"1"},"nth":2})");
  ASSERT_EQ(ordered.status, 200);

  EXPECT_EQ(userInfo(), 200);
  EXPECT_EQ(get("faults")[0]["remaining"], 1);
  EXPECT_EQ(userInfo(), 503);

  const Json::Value fault = get("faults")[0];
  EXPECT_EQ(fault["id"], ordered.json()["id"]);
  EXPECT_EQ(fault["route"], "googleUserInfo");
  EXPECT_EQ(fault["kind"], "status");
  EXPECT_EQ(fault["delivered"], 1);
}

TEST_F(Inspection, WithdrawsFaults) {
  post("faults", R"({"route":"googleUserInfo","kind":"resetAtOnce"})");
  EXPECT_EQ(post("faults/clear", "").status, 200);
  EXPECT_EQ(post("faults/release", "").status, 200);

  EXPECT_EQ(userInfo(), 200);
}

TEST_F(Inspection, RefusesFaultsThatMakeNoSense) {
  for (const char* order :
       {"", "[]", R"({"route":"nowhere","kind":"stall"})", R"({"route":"inspection","kind":"stall"})",
        R"({"route":"code","kind":"explode"})", R"({"route":"code","kind":"status","code":"x"})",
        R"({"route":"code","kind":"stallAnswerAfter","bytes":-1})",
        R"({"route":"code","kind":"stall","nth":0})", R"({"route":"code","kind":"status","headers":[]})",
        R"({"route":"code","kind":"status","text":7})"}) {
    EXPECT_EQ(post("faults", order).status, 400) << order;
  }
  EXPECT_EQ(get("faults").size(), 0U);
}

TEST_F(Inspection, SaysWhyAFaultCanNeverHappen) {
  const auto why = [&](const std::string& members) {
    return post("faults", R"({"route":"googleUserInfo",)" + members + "}").json()["error"].asString();
  };
  for (const char* path : {"", ".", "a.", ".a", "a..b", "0123456"}) {
    EXPECT_EQ(
        why(std::string(R"("kind":"removeMember","path":")") + path + '"'),
        std::string("path \"") + path + "\" is none: names of members and numbers, with a dot between two");
  }
  EXPECT_THAT(why(R"("kind":"removeMember")"), StartsWith("path \"\" is none"));
  EXPECT_THAT(why(R"("kind":"replaceMember","path":"id")"), StartsWith("text is the JSON"));
  EXPECT_THAT(why(R"("kind":"status","code":99)"), StartsWith("code is an HTTP status"));
  EXPECT_THAT(why(R"("kind":"statusAfterAct","code":600)"), StartsWith("code is an HTTP status"));
  EXPECT_THAT(why(R"("kind":"acceptLess","bytes":1)"), StartsWith("acceptLess is for the route"));
  EXPECT_EQ(why(R"("kind":"replaceMember","path":"a.0.b","text":"7")"), "");
  EXPECT_EQ(get("faults").size(), 1U);
  EXPECT_THROW(server.orderFault(Route::googleUserInfo, Fault::removeMember("a..b")), std::invalid_argument);
}

TEST_F(Inspection, EndsTheTokensOfTheMediaServices) {
  const std::string albums = "/facebook/v2.2/me/albums?access_token=facebook-token-";
  ASSERT_EQ(client.get(albums + "ada").status, 200);
  const std::string ada = server.users()[0].openId;

  EXPECT_EQ(post("tokens/end", R"({"kind":"access","platform":4,"open_id":")" + ada + "\"}").status, 200);
  EXPECT_EQ(client.get(albums + "ada").json()["error"]["code"], 190);
  EXPECT_EQ(client.get(albums + "bruno").status, 200);
  EXPECT_EQ(post("tokens/expire", "{}").status, 200);
  EXPECT_EQ(client.get(albums + "bruno").json()["error"]["code"], 190);
}

TEST_F(Inspection, RefusesPagesAndNamesFromElsewhere) {
  const std::string port = std::to_string(server.port());
  const std::string own = "127.0.0.1:" + port;
  const std::vector<Fields> foreign = {
      {{"Origin", "https://elsewhere.example"}},
      {{"Origin", "null"}},
      {{"Origin", "http://127.0.0.1:1"}},
      {{"Origin", "http://" + own + ".elsewhere.example"}},
      {{"Host", "elsewhere.example:" + port}},
      {{"Host", "127.0.0.1.elsewhere.example"}},
      {{"Host", "elsewhere.example:" + port}, {"Origin", "http://elsewhere.example:" + port}},
  };
  for (const Fields& headers : foreign) {
    const std::string shown = headers.back().second;
    EXPECT_EQ(client.post("/sandbox/tokens/expire", "{}", headers).status, 403) << shown;
    EXPECT_EQ(client.get("/sandbox/requests", headers).status, 403) << shown;
  }
  EXPECT_EQ(userInfo(), 200) << "no token was ended";

  const std::vector<Fields> ours = {
      {{"Origin", "http://" + own}},
      {{"Host", "localhost:" + port}, {"Origin", "http://LOCALHOST:" + port}},
      {{"Host", "[::1]:" + port}},
      {{"Host", "[::1]"}},
  };
  for (const Fields& headers : ours) {
    EXPECT_EQ(client.get("/sandbox/users", headers).status, 200) << headers.back().second;
  }
}

TEST_F(Inspection, IsNeverDisturbed) {
  const auto id = server.orderFault(Route::inspection, sandbox::Fault::resetAtOnce());

  EXPECT_EQ(get("uploads").size(), 0U);
  EXPECT_EQ(server.faultsDelivered(id), 0U);
}

}  // namespace
