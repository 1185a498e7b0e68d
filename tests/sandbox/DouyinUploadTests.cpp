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

constexpr std::size_t kPart = std::size_t{4} * 1024 * 1024;
constexpr std::size_t kLargest = std::size_t{128} * 1024 * 1024;
constexpr int kInvalidParameter = 2100005;
constexpr int kBadSize = 2111001;
constexpr int kUnknownUpload = 2111002;
constexpr int kWrongPart = 2111003;
constexpr int kUploadOver = 2111004;
constexpr int kOtherUser = 2190015;

const std::string kInit = "/douyin/video/part/init/?open_id=";
const std::string kUpload = "/douyin/video/part/upload/?open_id=";
const std::string kComplete = "/douyin/video/part/complete/?open_id=";

int code(const Answer& answer) {
  EXPECT_EQ(answer.status, 200);
  const Json::Value data = answer.json()["data"];
  EXPECT_TRUE(data["description"].isString()) << answer.body;
  return data["error_code"].asInt();
}

class DouyinUpload : public testing::Test {
 protected:
  std::string open() { return open(client); }
  std::string open(TestClient& own) const {
    return own.post(kInit + user.openId, "").json()["data"]["upload_id"].asString();
  }
  std::string partTarget(const std::string& id, const std::string& number) const {
    return kUpload + user.openId + "&upload_id=" + id + "&part_number=" + number;
  }
  int part(const std::string& id, unsigned number, const std::string& bytes) {
    return code(client.post(partTarget(id, std::to_string(number)), bytes));
  }
  std::string completeTarget(const std::string& id) const {
    return kComplete + user.openId + "&upload_id=" + id;
  }
  Answer complete(const std::string& id, const std::string& body = {}) {
    return client.post(completeTarget(id), body);
  }

  Sandbox server;
  TestClient client{server};
  const sandbox::User user = server.users()[0];
};

TEST_F(DouyinUpload, ConfigurationNamesItsAddresses) {
  const auto config = server.cloudConfig();

  EXPECT_EQ(config.at("urlExternlMediaAuthDouyinVideoPartInit") + "?open_id=", server.baseUrl() + kInit);
  EXPECT_EQ(config.at("urlExternlMediaAuthDouyinVideoPartUpload") + "?open_id=", server.baseUrl() + kUpload);
  EXPECT_EQ(config.at("urlExternlMediaAuthDouyinVideoPartComplete") + "?open_id=",
            server.baseUrl() + kComplete);
}

TEST_F(DouyinUpload, KeyOfTheWholeUploadLeadsNowhere) {
  const std::string url = server.cloudConfig().at("urlExternlMediaAuthDouyinUpload");

  EXPECT_EQ(client.post(targetOf(url), "x").status, 404);
}

TEST_F(DouyinUpload, FileInThreePartsArrivesWhole) {
  const std::string file = someFile(2 * kPart + 1000);
  const std::string id = open();

  EXPECT_EQ(part(id, 1, file.substr(0, kPart)), 0);
  EXPECT_EQ(part(id, 2, file.substr(kPart, kPart)), 0);
  EXPECT_EQ(part(id, 3, file.substr(2 * kPart)), 0);
  EXPECT_FALSE(server.uploads()[0].complete);
  const Answer answer = complete(id);

  ASSERT_EQ(code(answer), 0);
  EXPECT_TRUE(answer.json()["data"]["share_id"].isString());
  const auto upload = server.uploadByMediaId(answer.json()["data"]["video_id"].asString());
  ASSERT_TRUE(upload);
  EXPECT_TRUE(upload->complete);
  EXPECT_EQ(upload->service, "douyin");
  EXPECT_EQ(upload->openId, user.openId);
  EXPECT_EQ(upload->uploadId, id);
  EXPECT_EQ(upload->receivedSize, file.size());
  EXPECT_EQ(upload->sha256, sha256Of(file));
  ASSERT_EQ(upload->chunks.size(), 3U);
  EXPECT_EQ(upload->chunks[2].offset, 2 * kPart);
  EXPECT_EQ(upload->chunks[2].size, 1000U);
  EXPECT_TRUE(server.waitForUploads(1, std::chrono::seconds(30)));
}

TEST_F(DouyinUpload, TokenOnTheWireIsRefused) {
  const std::string token = server.issueTokens(Platform::douyin).accessToken;
  const std::string parameter = "&access_token=" + token;
  const std::string id = open();
  const std::vector<std::string> targets{kInit + user.openId, partTarget(id, "1"), completeTarget(id)};

  for (const std::string& target : targets) {
    EXPECT_EQ(code(client.post(target + parameter, "")), kInvalidParameter) << target;
    for (const char* header : {"access-token", "Access-Token", "access_token", "Authorization", "Cookie"}) {
      EXPECT_EQ(code(client.post(target, "", {{header, token}})), kInvalidParameter) << target << header;
    }
  }
  EXPECT_EQ(server.uploads().size(), 1U);
  EXPECT_EQ(part(id, 1, "x"), 0);
}

TEST_F(DouyinUpload, InitTakesTheOpenIdAlone) {
  EXPECT_EQ(code(client.post("/douyin/video/part/init/", "")), kInvalidParameter);
  EXPECT_EQ(code(client.post(kInit, "")), kInvalidParameter);
  EXPECT_EQ(code(client.post(kInit + user.openId + "&upload_id=1", "")), kInvalidParameter);
  EXPECT_EQ(code(client.post(kInit + user.openId, "{}")), kInvalidParameter) << "a body";
  EXPECT_EQ(code(client.post(kInit + "nobody", "")), kOtherUser);
  EXPECT_EQ(client.get(kInit + user.openId).status, 405);
  EXPECT_TRUE(server.uploads().empty());
}

TEST_F(DouyinUpload, EveryInitOpensAnUploadOfItsOwn) {
  EXPECT_NE(open(), open());
}

TEST_F(DouyinUpload, PartsCountFromOneWithoutGaps) {
  const std::string id = open();
  const std::string bytes(kPart, 'p');

  EXPECT_EQ(part(id, 0, bytes), kWrongPart);
  EXPECT_EQ(part(id, 2, bytes), kWrongPart);
  EXPECT_EQ(part(id, 1, bytes), 0);
  EXPECT_EQ(part(id, 3, bytes), kWrongPart);
  EXPECT_EQ(part(id, 2, bytes), 0);
  EXPECT_EQ(part(id, 1, bytes), kWrongPart) << "a part that others follow";
  for (const char* number : {"", "-1", "two", "1.0", "18446744073709551616"}) {
    EXPECT_EQ(code(client.post(partTarget(id, number), bytes)), kInvalidParameter) << number;
  }
  EXPECT_EQ(code(client.post(kUpload + user.openId + "&upload_id=" + id, bytes)), kInvalidParameter);
  EXPECT_EQ(code(client.post(partTarget(id, "3") + "&title=t", bytes)), kInvalidParameter);
  EXPECT_EQ(server.uploads()[0].chunks.size(), 2U);
}

TEST_F(DouyinUpload, EveryPartButTheLastIsFull) {
  const std::string id = open();

  EXPECT_EQ(part(id, 1, ""), kBadSize);
  EXPECT_EQ(part(id, 1, std::string(kPart + 1, 'p')), kBadSize);
  EXPECT_EQ(part(id, 1, std::string(kPart, 'p')), 0);
  EXPECT_EQ(part(id, 2, std::string(kPart - 1, 'p')), 0);
  EXPECT_EQ(part(id, 3, "p"), kBadSize);
  EXPECT_EQ(code(complete(id)), 0);
}

TEST_F(DouyinUpload, PartThatComesOnceMoreReplacesItself) {
  const std::string file = someFile(kPart + 500);
  const std::string id = open();
  part(id, 1, std::string(kPart, 'x'));
  part(id, 1, file.substr(0, kPart));
  part(id, 2, "other");
  part(id, 2, file.substr(kPart));
  part(id, 2, file.substr(kPart));

  EXPECT_EQ(code(complete(id)), 0);

  EXPECT_EQ(server.uploads()[0].chunks.size(), 2U);
  EXPECT_EQ(server.uploads()[0].receivedSize, file.size());
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(DouyinUpload, VideoHasALargestSize) {
  const std::string id = open();
  const std::string bytes(kPart, 'p');
  for (unsigned number = 1; number <= kLargest / kPart; ++number) ASSERT_EQ(part(id, number, bytes), 0);

  EXPECT_EQ(part(id, kLargest / kPart + 1, "p"), kBadSize);
  EXPECT_EQ(code(complete(id)), 0);
}

TEST_F(DouyinUpload, UploadBelongsToItsUserAndItsService) {
  const std::string id = open();
  const std::string stranger = server.users()[1].openId;
  const std::string other =
      targetOf(openUpload(client, server.issueTokens(Platform::youtube).accessToken, 10));
  const std::string foreignId = other.substr(other.rfind('=') + 1);

  EXPECT_EQ(part("none", 1, "x"), kUnknownUpload);
  EXPECT_EQ(code(complete("none")), kUnknownUpload);
  EXPECT_EQ(code(client.post(kUpload + stranger + "&upload_id=" + id + "&part_number=1", "x")), kOtherUser);
  EXPECT_EQ(code(client.post(kComplete + stranger + "&upload_id=" + id, "")), kOtherUser);
  EXPECT_EQ(part(foreignId, 1, "x"), kOtherUser);
}

TEST_F(DouyinUpload, CompleteHappensOnceAndEndsTheUpload) {
  const std::string id = open();
  part(id, 1, "x");

  EXPECT_EQ(code(complete(id)), 0);
  EXPECT_EQ(code(complete(id)), kUploadOver);
  EXPECT_EQ(part(id, 1, "x"), kUploadOver);
  EXPECT_EQ(part(id, 2, "x"), kUploadOver);
}

TEST_F(DouyinUpload, CompleteWantsAPart) {
  const std::string id = open();

  EXPECT_EQ(code(complete(id)), kWrongPart);
  EXPECT_EQ(code(client.post(kComplete + user.openId, "")), kInvalidParameter);
  EXPECT_EQ(code(client.post(completeTarget(id) + "&part_number=1", "")), kInvalidParameter);
  part(id, 1, "x");
  EXPECT_EQ(code(complete(id)), 0);
}

TEST_F(DouyinUpload, BodyOfCompleteIsIgnored) {
  const std::string id = open();
  part(id, 1, "first");

  EXPECT_EQ(code(complete(id, std::string(kPart, 'b'))), 0);

  EXPECT_EQ(server.uploads()[0].sha256, sha256Of("first"));
  EXPECT_EQ(server.requests(Route::douyinUploadComplete)[0].bodySize, kPart);
}

TEST_F(DouyinUpload, PartThatIsCutOffDoesNotCount) {
  const std::string file = someFile(1'000'000);
  const std::string id = open();
  const auto cut = server.orderFault(Route::douyinUploadPart, Fault::resetRequestAfter(100'000));
  const auto lost = server.orderFault(Route::douyinUploadComplete, Fault::resetRequestAfter(0));

  EXPECT_FALSE(client.post(partTarget(id, "1"), file).arrived);
  EXPECT_TRUE(server.uploads()[0].chunks.empty());
  EXPECT_EQ(part(id, 1, file), 0);
  EXPECT_FALSE(complete(id, "x").arrived);
  EXPECT_FALSE(server.uploads()[0].complete);
  EXPECT_EQ(code(complete(id, "x")), 0);
  EXPECT_EQ(server.faultsDelivered(cut) + server.faultsDelivered(lost), 2U);
}

TEST_F(DouyinUpload, UploadServesOneRequestAtATime) {
  const std::string id = open();
  // Takes longer than another request waits for its turn.
  const auto order =
      server.orderFault(Route::douyinUploadPart, Fault::slowRequest(1, std::chrono::seconds(7)));
  std::thread slow([&] {
    TestClient own(server);
    EXPECT_EQ(code(own.post(partTarget(id, "1"), "s")), 0);
  });
  EXPECT_TRUE(server.waitForFaults(order, 1, std::chrono::seconds(30)));

  const Answer answer = complete(id);

  EXPECT_EQ(code(answer), kUnknownUpload);
  EXPECT_EQ(answer.json()["data"]["description"], "upload_id is in use by another request");
  slow.join();
  EXPECT_EQ(code(complete(id)), 0);
}

TEST_F(DouyinUpload, HashingCanBeLeftOut) {
  SandboxOptions options;
  options.hashUploads = false;
  const Sandbox fast(options);
  TestClient other(fast);
  const std::string id = open(other);

  other.post(partTarget(id, "1"), "x");
  other.post(completeTarget(id), "");

  EXPECT_TRUE(fast.uploads()[0].complete);
  EXPECT_EQ(fast.uploads()[0].sha256, "");
}

TEST_F(DouyinUpload, FiftyUploadsAtOnceArriveWhole) {
  constexpr std::size_t kUploads = 50;
  const std::string file = someFile(kPart + 77);
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kUploads; ++number) {
    threads.emplace_back([&] {
      TestClient own(server);
      const std::string id = open(own);
      own.post(partTarget(id, "1"), file.substr(0, kPart));
      own.post(partTarget(id, "2"), file.substr(kPart));
      own.post(completeTarget(id), file.substr(kPart));
    });
  }
  for (std::thread& thread : threads) thread.join();

  ASSERT_TRUE(server.waitForUploads(kUploads, std::chrono::seconds(60)));
  const std::string expected = sha256Of(file);
  for (const sandbox::UploadRecord& upload : server.uploads()) EXPECT_EQ(upload.sha256, expected);
}

}  // namespace
