#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using sandbox::Fault;
using sandbox::Platform;
using sandbox::Route;
using sandbox::Sandbox;
using sandbox::SandboxOptions;

constexpr const char* uploadPath = "/tiktok/share/video/upload/";
constexpr std::size_t largest = std::size_t{50} * 1024 * 1024;
const std::string boundary = "------------------------d74496d66958873e";

std::string field(const std::string& disposition, const std::string& bytes) {
  return "--" + boundary + "\r\nContent-Disposition: " + disposition +
         "\r\nContent-Type: application/octet-stream\r\n\r\n" + bytes + "\r\n";
}

std::string videoField(const std::string& bytes) {
  return field(R"(form-data; name="video"; filename="clip.mp4")", bytes);
}

std::string formOf(const std::string& fields) {
  return fields + "--" + boundary + "--\r\n";
}

class TiktokUpload : public testing::Test {
 protected:
  std::string target(const std::string& accessToken, const std::string& openId) const {
    return std::string(uploadPath) + "?access_token=" + accessToken + "&open_id=" + openId;
  }
  Answer send(const std::string& body, const std::string& query,
              const std::string& type = "multipart/form-data; boundary=" + boundary) {
    return client.post(query, body, {{"Content-Type", type}});
  }
  Answer send(const std::string& body) { return send(body, target(token, user.openId)); }
  static int code(const Answer& answer) {
    EXPECT_EQ(answer.status, 200);
    const Json::Value data = answer.json()["data"];
    EXPECT_TRUE(data["error_msg"].isString());
    EXPECT_EQ(data["error_code"] == 0, data.isMember("share_id"));
    return data["error_code"].asInt();
  }

  Sandbox server;
  TestClient client{server};
  const sandbox::User user = server.users()[0];
  std::string token = server.issueTokens(Platform::tiktok).accessToken;
};

TEST_F(TiktokUpload, ConfigurationNamesItsAddress) {
  EXPECT_EQ(server.cloudConfig()["urlExternlMediaAuthTiktokUpload"], server.baseUrl() + uploadPath);
}

TEST_F(TiktokUpload, VideoArrivesWhole) {
  const std::string file = someFile(3'000'001);

  const Answer answer = send(formOf(videoField(file)));

  ASSERT_EQ(code(answer), 0) << answer.body;
  const auto upload = server.uploadByMediaId(answer.json()["data"]["share_id"].asString());
  ASSERT_TRUE(upload);
  EXPECT_TRUE(upload->complete);
  EXPECT_EQ(upload->service, "tiktok");
  EXPECT_EQ(upload->openId, user.openId);
  EXPECT_EQ(upload->fileName, "clip.mp4");
  EXPECT_EQ(upload->mediaType, "application/octet-stream");
  EXPECT_EQ(upload->receivedSize, file.size());
  EXPECT_EQ(upload->sha256, sha256Of(file));
  EXPECT_EQ(upload->chunks.at(0).token, token);
  EXPECT_TRUE(server.waitForUploads(1, std::chrono::seconds(30)));
}

TEST_F(TiktokUpload, LookingInTellsSizeAndHash) {
  send(formOf(videoField("abc")));

  const Json::Value upload = client.get("/sandbox/uploads").json()[0];

  EXPECT_EQ(upload["service"], "tiktok");
  EXPECT_EQ(upload["received_size"], 3);
  EXPECT_EQ(upload["sha256"], sha256Of("abc"));
  EXPECT_EQ(upload["file_name"], "clip.mp4");
}

TEST_F(TiktokUpload, BytesLikeADelimiterBelongToTheVideo) {
  const std::string file = "\r\n--" + boundary.substr(0, 10) + "\r\n--\r\n\r\r\n-" + std::string(3, '\0');

  ASSERT_EQ(code(send(formOf(videoField(file)))), 0);

  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(TiktokUpload, FileNameMayBeQuotedAndForeign) {
  const std::string disposition = "form-data; name=video; filename=\"a \\\"b\\\"; \xC3\xBC.mp4\"";

  ASSERT_EQ(code(send(formOf(field(disposition, "x")))), 0);

  EXPECT_EQ(server.uploads()[0].fileName, "a \"b\"; \xC3\xBC.mp4");
}

TEST_F(TiktokUpload, QueryHasTokenAndOpenId) {
  const std::string body = formOf(videoField("x"));
  const std::string good = target(token, user.openId);

  EXPECT_EQ(code(send(body, std::string(uploadPath) + "?open_id=" + user.openId)), 2100005);
  EXPECT_EQ(code(send(body, std::string(uploadPath) + "?access_token=" + token)), 2100005);
  EXPECT_EQ(code(send(body, target(token, ""))), 2100005);
  EXPECT_EQ(client.get(good).status, 405);
  EXPECT_TRUE(server.uploads().empty());
}

TEST_F(TiktokUpload, ParametersThatTheServiceDoesNotListDoNothing) {
  ASSERT_EQ(code(send(formOf(videoField("x")), target(token, user.openId) + "&title=t&privacy=public")), 0);

  EXPECT_EQ(server.uploads()[0].metadata, "");
}

TEST_F(TiktokUpload, TokenHasToBeTheUsersOwnAndAlive) {
  const std::string body = formOf(videoField("x"));
  const std::string other = server.issueTokens(Platform::douyin).accessToken;

  EXPECT_EQ(code(send(body, target("unknown", user.openId))), 2190002);
  EXPECT_EQ(code(send(body, target(token, server.users()[1].openId))), 2190015);
  EXPECT_NE(code(send(body, target(other, user.openId))), 0);
  server.expireAccessTokens();
  EXPECT_EQ(code(send(body)), 2190008);
  EXPECT_TRUE(server.uploads().empty());
}

TEST_F(TiktokUpload, FormHasOneFileFieldNamedVideo) {
  const std::string video = videoField("x");

  EXPECT_EQ(code(send("")), 2100005);
  EXPECT_EQ(code(send("x")), 2100005);
  EXPECT_EQ(code(send(formOf(""))), 2100005);
  EXPECT_EQ(code(send(formOf(video + video))), 2100005);
  EXPECT_EQ(code(send(formOf(video + field(R"(form-data; name="title")", "t")))), 2100005);
  EXPECT_EQ(code(send(formOf(field(R"(form-data; name="file"; filename="a.mp4")", "x")))), 2100005);
  EXPECT_EQ(code(send(formOf(field(R"(form-data; name="video")", "x")))), 2100005) << "no file";
  EXPECT_EQ(code(send(formOf(field(R"(attachment; name="video"; filename="a")", "x")))), 2100005);
  EXPECT_EQ(code(send(formOf("--" + boundary + "\r\nno header\r\n\r\nx\r\n"))), 2100005);
  EXPECT_EQ(code(send(formOf("--" + boundary + "\r\nX: y\r\n\r\nx\r\n"))), 2100005);
  EXPECT_EQ(code(send(video)), 2100005) << "no closing delimiter";
  EXPECT_EQ(code(send("preamble" + formOf(video))), 2100005);
  EXPECT_EQ(code(send("--" + boundary + "\r\n" + std::string(100'000, 'h'))), 2100005) << "an endless head";
  EXPECT_TRUE(server.uploads().empty());
  EXPECT_EQ(code(send(formOf(video))), 0);
}

TEST_F(TiktokUpload, BodyHasToBeAForm) {
  const std::string body = formOf(videoField("x"));
  const std::string good = target(token, user.openId);

  for (const std::string& type :
       {std::string("application/octet-stream"), "multipart/mixed; boundary=" + boundary,
        std::string("multipart/form-data"), std::string("multipart/form-data; boundary="),
        "multipart/form-data; boundary=" + std::string(71, 'b')}) {
    EXPECT_EQ(code(send(body, good, type)), 2100005) << type;
  }
  EXPECT_EQ(code(send(body, good, "Multipart/Form-Data; charset=utf-8; boundary=\"" + boundary + "\"")), 0);
}

TEST_F(TiktokUpload, SizeHasLimits) {
  EXPECT_EQ(code(send(formOf(videoField("")))), 2111001);
  EXPECT_EQ(code(send(formOf(videoField(std::string(largest + 1, 'v'))))), 2111001);
  EXPECT_TRUE(server.uploads().empty());
  EXPECT_EQ(code(send(formOf(videoField(std::string(largest, 'v'))))), 0);
}

TEST_F(TiktokUpload, LostBodyLeavesNothingBehind) {
  const std::string body = formOf(videoField(someFile(500'000)));
  const auto fault = server.orderFault(Route::tiktokUpload, Fault::resetRequestAfter(100'000));

  EXPECT_FALSE(send(body).arrived);
  EXPECT_TRUE(server.uploads().empty());
  EXPECT_EQ(code(send(body)), 0);
  EXPECT_EQ(server.faultsDelivered(fault), 1U);
}

TEST_F(TiktokUpload, HashingCanBeLeftOut) {
  SandboxOptions options;
  options.hashUploads = false;
  Sandbox fast(options);
  TestClient other(fast);
  const std::string good = fast.issueTokens(Platform::tiktok).accessToken;

  const Answer answer = other.post(target(good, user.openId), formOf(videoField("x")),
                                   {{"Content-Type", "multipart/form-data; boundary=" + boundary}});

  EXPECT_EQ(code(answer), 0);
  EXPECT_EQ(fast.uploads()[0].sha256, "");
}

TEST_F(TiktokUpload, FiftyUploadsAtOnceArriveWhole) {
  constexpr std::size_t uploads = 50;
  const std::string file = someFile(300'000);
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < uploads; ++number) {
    threads.emplace_back([&] {
      TestClient own(server);
      own.post(target(token, user.openId), formOf(videoField(file)),
               {{"Content-Type", "multipart/form-data; boundary=" + boundary}});
    });
  }
  for (std::thread& thread : threads) thread.join();

  ASSERT_TRUE(server.waitForUploads(uploads, std::chrono::seconds(30)));
  const std::string expected = sha256Of(file);
  for (const sandbox::UploadRecord& upload : server.uploads()) EXPECT_EQ(upload.sha256, expected);
}

}  // namespace
