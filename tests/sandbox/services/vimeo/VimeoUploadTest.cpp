#include "sandbox/OauthSteps.h"
#include "sandbox/RawConnection.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"
#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using sandbox::Platform;

constexpr const char* accept = "application/vnd.vimeo.*+json;version=3.4";

class VimeoScripts : public testing::Test {
 protected:
  Answer token(const Fields& fields, const std::string& secret = appSecret) {
    const std::string pair = std::string(appId) + ":" + secret;
    return client.post("/vimeo/oauth/access_token", formOf(fields),
                       {formType(), {"Authorization", "Basic " + sandbox::base64(pair)}});
  }
  static Fields trade(const std::string& code) {
    return without(without(codeFields(code), "client_id"), "client_secret");
  }
  std::string freshCode() { return codeFrom(client, "/vimeo/oauth/authorize"); }
  Answer open(const std::string& body) {
    return client.post("/vimeo/me/videos", body,
                       {bearer(accessToken), {"Accept", accept}, {"Content-Type", "application/json"}});
  }
  static std::string video(std::size_t size, const std::string& more = "") {
    return R"({"upload":{"approach":"tus","size":")" + std::to_string(size) + "\"}" + more + "}";
  }
  std::string openedLink(std::size_t size) {
    return targetOf(open(video(size)).json()["upload"]["upload_link"].asString());
  }
  static Fields tus(std::size_t offset) {
    return {{"Tus-Resumable", "1.0.0"},
            {"Upload-Offset", std::to_string(offset)},
            {"Content-Type", "application/offset+octet-stream"}};
  }
  Answer append(const std::string& link, std::size_t offset, const std::string& bytes) {
    return client.patch(link, bytes, tus(offset));
  }
  std::string offsetOf(const std::string& link) {
    return client.head(link, {{"Tus-Resumable", "1.0.0"}}).header("Upload-Offset");
  }

  sandbox::Sandbox server;
  TestClient client{server};
  std::string accessToken = server.issueTokens(Platform::vimeo).accessToken;
};

TEST_F(VimeoScripts, CodeBecomesATokenWithItsUser) {
  const Answer answer = token(trade(freshCode()));

  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.json()["token_type"], "bearer");
  EXPECT_EQ(answer.json()["scope"], "video upload");
  EXPECT_EQ(answer.json()["user"]["name"], server.users()[0].name);
  const Answer me = client.get("/vimeo/me", {bearer(answer.json()["access_token"].asString())});
  EXPECT_EQ(me.json()["name"], server.users()[0].name);
  EXPECT_GT(me.json()["upload_quota"]["space"]["free"].asUInt64(), 0U);
}

TEST_F(VimeoScripts, TokenEndpointChecksApplicationAndCode) {
  EXPECT_EQ(token(trade(freshCode()), "wrong").status, 401);
  EXPECT_EQ(
      client.post("/vimeo/oauth/access_token", formOf(trade(freshCode())), {formType()}).json()["error"],
      "invalid_client");
  EXPECT_EQ(token(with(trade(freshCode()), "grant_type", "password")).json()["error"],
            "unsupported_grant_type");
  for (const char* basic : {"!!!!", "YWJj", "YWJjOg", "====", "YWJjO===", ""}) {
    EXPECT_EQ(client
                  .post("/vimeo/oauth/access_token", formOf(trade("x")),
                        {formType(), {"Authorization", std::string("Basic ") + basic}})
                  .status,
              401)
        << basic;
  }
  const Fields good = trade(freshCode());
  EXPECT_EQ(token(good).status, 200);
  EXPECT_EQ(token(good).json()["error"], "invalid_grant");
  EXPECT_EQ(token(with(trade(freshCode()), "redirect_uri", "http://x/")).json()["error"], "invalid_grant");
}

TEST_F(VimeoScripts, RemovedTokenIsDead) {
  EXPECT_EQ(client.remove("/vimeo/tokens", {bearer(accessToken)}).status, 204);
  const Answer answer = client.get("/vimeo/me", {bearer(accessToken)});
  EXPECT_EQ(answer.status, 401);
  EXPECT_EQ(answer.json()["error_code"], 8003);
  EXPECT_EQ(client.remove("/vimeo/tokens", {bearer(accessToken)}).status, 401);
}

TEST_F(VimeoScripts, CategoriesAreListed) {
  const Answer answer = client.get("/vimeo/categories", {bearer(accessToken)});
  ASSERT_GT(answer.json()["data"].size(), 0U);
  EXPECT_EQ(answer.json()["data"][0]["uri"], "/categories/animation");
  EXPECT_EQ(client.get("/vimeo/categories").status, 401);
}

TEST_F(VimeoScripts, VideoArrivesWholeByTus) {
  const std::string file = someFile(5000);
  const Answer opened = open(video(file.size(), R"(,"name":"n","privacy":{"view":"nobody"})"));
  ASSERT_EQ(opened.status, 201) << opened.body;
  const std::string link = targetOf(opened.json()["upload"]["upload_link"].asString());

  EXPECT_EQ(offsetOf(link), "0");
  const Answer first = append(link, 0, file.substr(0, 2000));
  EXPECT_EQ(first.status, 204);
  EXPECT_EQ(first.header("Upload-Offset"), "2000");
  EXPECT_EQ(first.header("Tus-Resumable"), "1.0.0");
  EXPECT_EQ(offsetOf(link), "2000");
  EXPECT_EQ(append(link, 2000, file.substr(2000)).header("Upload-Offset"), "5000");

  const std::string uri = opened.json()["uri"].asString();
  const auto upload =
      server.uploadByMediaId(uri.substr(std::string("/videos/").size())).value_or(sandbox::UploadRecord());
  EXPECT_TRUE(upload.complete);
  EXPECT_EQ(upload.service, "vimeo");
  EXPECT_EQ(upload.sha256, sha256Of(file));
}

TEST_F(VimeoScripts, VideoTellsWhetherItsUploadIsCompleteAndCanBeRemoved) {
  const Json::Value opened = open(video(10)).json();
  const std::string target = "/vimeo" + opened["uri"].asString();
  const std::string link = targetOf(opened["upload"]["upload_link"].asString());
  const auto look = [&] {
    return client.get(target + "?fields=upload.status", {bearer(accessToken)}).json();
  };
  EXPECT_EQ(look()["upload"]["status"], "in_progress");
  EXPECT_EQ(look().getMemberNames(), std::vector<std::string>{"upload"}) << "only what was asked for";
  append(link, 0, someFile(10));
  EXPECT_EQ(look()["upload"]["status"], "complete");

  const std::string other = server.issueTokens(Platform::vimeo, server.users()[1].openId).accessToken;
  EXPECT_EQ(client.get(target).status, 401);
  EXPECT_EQ(client.get(target, {bearer(other)}).status, 404) << "what others may not see is not there";
  EXPECT_EQ(client.remove(target, {bearer(other)}).status, 403);
  EXPECT_EQ(client.remove(target, {bearer(accessToken)}).status, 204);
  EXPECT_EQ(client.remove(target, {bearer(accessToken)}).status, 404);
  EXPECT_EQ(client.head(link, {{"Tus-Resumable", "1.0.0"}}).status, 404);
}

TEST_F(VimeoScripts, OpeningIsStrict) {
  EXPECT_EQ(
      client.post("/vimeo/me/videos", video(5), {bearer(accessToken), {"Content-Type", "application/json"}})
          .status,
      400)
      << "no version";
  EXPECT_EQ(client
                .post("/vimeo/me/videos", video(5),
                      {bearer(accessToken), {"Accept", accept}, {"Content-Type", "text/plain"}})
                .json()["error_code"],
            2205);
  EXPECT_EQ(open("no json").json()["error_code"], 2205);
  EXPECT_EQ(open(R"({"upload":{"approach":"post","size":"5"}})").json()["error_code"], 2230);
  for (const std::string& body :
       {std::string("[]"), video(0), std::string(R"({"upload":{"approach":"tus"}})"),
        video(5, R"(,"name":7)"), video(5, ",\"name\":\"" + std::string(129, 'n') + "\""),
        video(5, ",\"description\":\"" + std::string(5001, 'd') + "\""),
        video(5, R"(,"privacy":{"view":"SELF"})"), video(5, R"(,"description":[])")}) {
    EXPECT_EQ(open(body).status, 400) << body;
  }
  EXPECT_EQ(open(video(5, ",\"name\":\"" + std::string(128, 'n') + "\",\"description\":\"" +
                              std::string(5000, 'd') + "\",\"license\":\"by\""))
                .status,
            201)
      << "as long as they may be, and a member that nobody here knows";
  EXPECT_EQ(open(video(std::size_t{6} << 30)).status, 403) << "more than the space that is left";
  accessToken = "unknown";
  EXPECT_EQ(open(video(5)).status, 401);
}

TEST_F(VimeoScripts, AppendingIsStrict) {
  const std::string link = openedLink(100);
  const std::string bytes = someFile(10);
  EXPECT_EQ(client.patch(link, bytes, without(tus(0), "Tus-Resumable")).status, 412);
  EXPECT_EQ(client.patch(link, bytes, with(tus(0), "Content-Type", "video/mp4")).status, 415);
  EXPECT_EQ(client.patch(link, bytes, without(tus(0), "Upload-Offset")).status, 400);
  EXPECT_EQ(append(link, 0, someFile(101)).status, 413);
  EXPECT_EQ(append("/vimeo-files/upload/none", 0, bytes).status, 404);
  EXPECT_EQ(client.head(link).status, 412);
  EXPECT_EQ(append(link, 0, bytes).status, 204);
  const Answer again = append(link, 0, bytes);
  EXPECT_EQ(again.status, 409);
  EXPECT_EQ(again.header("Upload-Offset"), "10");
}

TEST_F(VimeoScripts, BytesOfABrokenAppendCount) {
  const std::string file = someFile(3000);
  const std::string link = openedLink(file.size());
  {
    const RawConnection connection(server.port());
    connection.send("PATCH " + link +
                    " HTTP/1.1\r\nHost: x\r\nTus-Resumable: 1.0.0\r\nUpload-Offset: 0\r\nContent-Type: "
                    "application/offset+octet-stream\r\nContent-Length: 3000\r\n\r\n" +
                    file.substr(0, 1200));
  }
  ASSERT_TRUE(server.waitForRequests(sandbox::Route::vimeoUpload, 1, std::chrono::seconds(30)));
  EXPECT_EQ(offsetOf(link), "1200");
  EXPECT_EQ(append(link, 1200, file.substr(1200)).status, 204);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(VimeoScripts, UploadIsLockedWhileAnotherRequestIsAtWork) {
  const std::string link = openedLink(3000);
  const RawConnection connection(server.port());
  connection.send("PATCH " + link +
                  " HTTP/1.1\r\nHost: x\r\nTus-Resumable: 1.0.0\r\nUpload-Offset: 0\r\nContent-Type: "
                  "application/offset+octet-stream\r\nContent-Length: 3000\r\n\r\nsome of it");

  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  int status = 200;
  while (status == 200 && std::chrono::steady_clock::now() < end) {
    status = client.head(link, {{"Tus-Resumable", "1.0.0"}}).status;
  }

  EXPECT_EQ(status, 423);
  EXPECT_EQ(append(link, 0, someFile(10)).status, 423);
}

TEST_F(VimeoScripts, DetailsAreKeptWithTheVideo) {
  const std::string uri = "/vimeo" + open(video(5)).json()["uri"].asString();
  const Fields headers{bearer(accessToken), {"Content-Type", "application/json"}};

  EXPECT_EQ(client.put(uri + "/tags", R"([{"name":"a"},{"name":"b"}])", headers).status, 200);
  EXPECT_EQ(client.put(uri + "/categories", R"({"category":["music"]})", headers).status, 201);
  const Answer picture = client.post(uri + "/pictures", "", headers);
  ASSERT_EQ(picture.status, 201);
  EXPECT_EQ(client.put(targetOf(picture.json()["link"].asString()), "jpeg", {{"Content-Type", "image/jpeg"}})
                .status,
            200);
  EXPECT_EQ(client.patch("/vimeo" + picture.json()["uri"].asString(), R"({"active":true})", headers).status,
            200);

  const Json::Value metadata =
      sandbox::parseJson(server.uploads()[0].metadata).value_or(Json::Value(Json::objectValue));
  EXPECT_EQ(metadata["tags"][1], "b");
  EXPECT_EQ(metadata["categories"][0], "music");
  EXPECT_EQ(metadata["thumbnail"]["sha256"], sha256Of("jpeg"));
  EXPECT_TRUE(metadata["thumbnail"]["active"].asBool());
}

TEST_F(VimeoScripts, DetailsAreStrict) {
  const std::string uri = "/vimeo" + open(video(5)).json()["uri"].asString();
  const Fields headers{bearer(accessToken), {"Content-Type", "application/json"}};
  const Fields stranger{bearer(server.issueTokens(Platform::vimeo, server.users()[1].openId).accessToken)};

  const auto categories = [&](const std::string& body) {
    return client.put(uri + "/categories", body, headers).status;
  };
  std::string tags = R"([{"name":"a"})";
  for (int count = 1; count < 20; ++count) tags += R"(,{"name":"a"})";

  for (const char* body : {"", R"(["a"])", R"({"name":"a"})", R"([{"name":""}])", R"([{"tag":"a"}])"}) {
    EXPECT_EQ(client.put(uri + "/tags", body, headers).status, 400) << body;
  }
  EXPECT_EQ(client.put(uri + "/tags", tags + "]", headers).status, 200);
  EXPECT_EQ(client.put(uri + "/tags", tags + R"(,{"name":"a"}])", headers).status, 403) << "more than 20";
  for (const char* body : {"", R"([{"category":"music"}])", R"({"category":"music"})", R"({"category":[]})",
                           R"({"category":[7]})", R"({"category":["music","food","comedy","travel"]})"}) {
    EXPECT_EQ(categories(body), 400) << body;
  }
  EXPECT_EQ(categories(R"({"category":["fishing"]})"), 404);
  EXPECT_EQ(client.put(uri + "/tags", R"([{"name":"a"}])", stranger).status, 403);
  EXPECT_EQ(client.put(uri + "/categories", R"({"category":["music"]})", stranger).status, 403);
  EXPECT_EQ(client.post(uri + "/pictures", "", stranger).status, 403);
  EXPECT_EQ(client.put("/vimeo/videos/1/tags", R"([{"name":"a"}])", headers).status, 404);
  EXPECT_EQ(client.put(uri + "/likes", "[]", headers).status, 405);
  EXPECT_EQ(client.patch(uri + "/pictures/1", R"({"active":true})", headers).status, 404);
  const Answer picture = client.post(uri + "/pictures", "", headers);
  EXPECT_EQ(client.patch("/vimeo" + picture.json()["uri"].asString(), R"({"active":true})", headers).status,
            404)
      << "no bytes yet";
  const std::string link = targetOf(picture.json()["link"].asString());
  EXPECT_EQ(client.put(link, "text", {{"Content-Type", "text/plain"}}).status, 400);
  EXPECT_EQ(client.put(link, "", {{"Content-Type", "image/jpeg"}}).status, 400);
  EXPECT_EQ(client.put(link + "0", "jpeg", {{"Content-Type", "image/jpeg"}}).status, 404);
  ASSERT_EQ(client.put(link, "jpeg", {{"Content-Type", "image/jpeg"}}).status, 200);
  EXPECT_EQ(client.patch("/vimeo" + picture.json()["uri"].asString(), R"({"active":1})", headers).status,
            400);
}

}  // namespace
