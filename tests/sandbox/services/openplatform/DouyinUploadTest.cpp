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

constexpr std::size_t partSize = std::size_t{4} * 1024 * 1024;
constexpr std::size_t largest = std::size_t{128} * 1024 * 1024;
constexpr int invalidParameter = 2100005;
constexpr int badSize = 2111001;
constexpr int unknownUpload = 2111002;
constexpr int wrongPart = 2111003;
constexpr int uploadOver = 2111004;
constexpr int otherUser = 2190015;

const std::string initPath = "/douyin/video/part/init/?open_id=";
const std::string uploadPath = "/douyin/video/part/upload/?open_id=";
const std::string completePath = "/douyin/video/part/complete/?open_id=";

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
    return own.post(initPath + user.openId, "").json()["data"]["upload_id"].asString();
  }
  std::string partTarget(const std::string& id, const std::string& number) const {
    return uploadPath + user.openId + "&upload_id=" + id + "&part_number=" + number;
  }
  int part(const std::string& id, unsigned number, const std::string& bytes) {
    return code(client.post(partTarget(id, std::to_string(number)), bytes));
  }
  std::string completeTarget(const std::string& id) const {
    return completePath + user.openId + "&upload_id=" + id;
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

  EXPECT_EQ(config.at("urlExternlMediaAuthDouyinVideoPartInit") + "?open_id=", server.baseUrl() + initPath);
  EXPECT_EQ(config.at("urlExternlMediaAuthDouyinVideoPartUpload") + "?open_id=",
            server.baseUrl() + uploadPath);
  EXPECT_EQ(config.at("urlExternlMediaAuthDouyinVideoPartComplete") + "?open_id=",
            server.baseUrl() + completePath);
}

TEST_F(DouyinUpload, KeyOfTheWholeUploadLeadsNowhere) {
  const std::string url = server.cloudConfig().at("urlExternlMediaAuthDouyinUpload");

  EXPECT_EQ(client.post(targetOf(url), "x").status, 404);
}

TEST_F(DouyinUpload, FileInThreePartsArrivesWhole) {
  const std::string file = someFile(2 * partSize + 1000);
  const std::string id = open();

  EXPECT_EQ(part(id, 1, file.substr(0, partSize)), 0);
  EXPECT_EQ(part(id, 2, file.substr(partSize, partSize)), 0);
  EXPECT_EQ(part(id, 3, file.substr(2 * partSize)), 0);
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
  EXPECT_EQ(upload->chunks[2].offset, 2 * partSize);
  EXPECT_EQ(upload->chunks[2].size, 1000U);
  EXPECT_TRUE(server.waitForUploads(1, std::chrono::seconds(30)));
}

TEST_F(DouyinUpload, TokenOnTheWireIsRefused) {
  const std::string token = server.issueTokens(Platform::douyin).accessToken;
  const std::string parameter = "&access_token=" + token;
  const std::string id = open();
  const std::vector<std::string> targets{initPath + user.openId, partTarget(id, "1"), completeTarget(id)};

  for (const std::string& target : targets) {
    EXPECT_EQ(code(client.post(target + parameter, "")), invalidParameter) << target;
    for (const char* header : {"access-token", "Access-Token", "access_token", "Authorization", "Cookie"}) {
      EXPECT_EQ(code(client.post(target, "", {{header, token}})), invalidParameter) << target << header;
    }
  }
  EXPECT_EQ(server.uploads().size(), 1U);
  EXPECT_EQ(part(id, 1, "x"), 0);
}

TEST_F(DouyinUpload, InitTakesTheOpenIdAlone) {
  EXPECT_EQ(code(client.post("/douyin/video/part/init/", "")), invalidParameter);
  EXPECT_EQ(code(client.post(initPath, "")), invalidParameter);
  EXPECT_EQ(code(client.post(initPath + user.openId + "&upload_id=1", "")), invalidParameter);
  EXPECT_EQ(code(client.post(initPath + user.openId, "{}")), invalidParameter) << "a body";
  EXPECT_EQ(code(client.post(initPath + "nobody", "")), otherUser);
  EXPECT_EQ(client.get(initPath + user.openId).status, 405);
  EXPECT_TRUE(server.uploads().empty());
}

TEST_F(DouyinUpload, MethodsAreFixed) {
  const std::string id = open();

  EXPECT_EQ(client.put(partTarget(id, "1"), "x").status, 405);
  EXPECT_EQ(client.get(completeTarget(id)).status, 405);
}

TEST_F(DouyinUpload, EveryInitOpensAnUploadOfItsOwn) {
  EXPECT_NE(open(), open());
}

TEST_F(DouyinUpload, PartsCountFromOneWithoutGaps) {
  const std::string id = open();
  const std::string bytes(partSize, 'p');

  EXPECT_EQ(part(id, 0, bytes), wrongPart);
  EXPECT_EQ(part(id, 2, bytes), wrongPart);
  EXPECT_EQ(part(id, 1, bytes), 0);
  EXPECT_EQ(part(id, 3, bytes), wrongPart);
  EXPECT_EQ(part(id, 2, bytes), 0);
  EXPECT_EQ(part(id, 1, bytes), wrongPart) << "a part that others follow";
  for (const char* number : {"", "-1", "two", "1.0", "18446744073709551616"}) {
    EXPECT_EQ(code(client.post(partTarget(id, number), bytes)), invalidParameter) << number;
  }
  EXPECT_EQ(code(client.post(uploadPath + user.openId + "&upload_id=" + id, bytes)), invalidParameter);
  EXPECT_EQ(code(client.post(partTarget(id, "3") + "&title=t", bytes)), invalidParameter);
  EXPECT_EQ(server.uploads()[0].chunks.size(), 2U);
}

TEST_F(DouyinUpload, EveryPartButTheLastIsFull) {
  const std::string id = open();

  EXPECT_EQ(part(id, 1, ""), badSize);
  EXPECT_EQ(part(id, 1, std::string(partSize + 1, 'p')), badSize);
  EXPECT_EQ(part(id, 1, std::string(partSize, 'p')), 0);
  EXPECT_EQ(part(id, 2, std::string(partSize - 1, 'p')), 0);
  EXPECT_EQ(part(id, 3, "p"), badSize);
  EXPECT_EQ(code(complete(id)), 0);
}

TEST_F(DouyinUpload, PartThatComesOnceMoreReplacesItself) {
  const std::string file = someFile(partSize + 500);
  const std::string id = open();
  part(id, 1, std::string(partSize, 'x'));
  part(id, 1, file.substr(0, partSize));
  part(id, 2, "other");
  part(id, 2, file.substr(partSize));
  part(id, 2, file.substr(partSize));

  EXPECT_EQ(code(complete(id)), 0);

  EXPECT_EQ(server.uploads()[0].chunks.size(), 2U);
  EXPECT_EQ(server.uploads()[0].receivedSize, file.size());
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(DouyinUpload, VideoHasALargestSize) {
  const std::string id = open();
  const std::string bytes(partSize, 'p');
  for (unsigned number = 1; number <= largest / partSize; ++number) ASSERT_EQ(part(id, number, bytes), 0);

  EXPECT_EQ(part(id, largest / partSize + 1, "p"), badSize);
  EXPECT_EQ(code(complete(id)), 0);
}

TEST_F(DouyinUpload, UploadBelongsToItsUserAndItsService) {
  const std::string id = open();
  const std::string stranger = server.users()[1].openId;
  const std::string other =
      targetOf(openUpload(client, server.issueTokens(Platform::youtube).accessToken, 10));
  const std::string foreignId = other.substr(other.rfind('=') + 1);

  EXPECT_EQ(part("none", 1, "x"), unknownUpload);
  EXPECT_EQ(code(complete("none")), unknownUpload);
  EXPECT_EQ(code(client.post(uploadPath + stranger + "&upload_id=" + id + "&part_number=1", "x")), otherUser);
  EXPECT_EQ(code(client.post(completePath + stranger + "&upload_id=" + id, "")), otherUser);
  EXPECT_EQ(part(foreignId, 1, "x"), otherUser);
}

TEST_F(DouyinUpload, CompleteHappensOnceAndEndsTheUpload) {
  const std::string id = open();
  part(id, 1, "x");

  EXPECT_EQ(code(complete(id)), 0);
  EXPECT_EQ(code(complete(id)), uploadOver);
  EXPECT_EQ(part(id, 1, "x"), uploadOver);
  EXPECT_EQ(part(id, 2, "x"), uploadOver);
}

TEST_F(DouyinUpload, CompleteWantsAPart) {
  const std::string id = open();

  EXPECT_EQ(code(complete(id)), wrongPart);
  EXPECT_EQ(code(client.post(completePath + user.openId, "")), invalidParameter);
  EXPECT_EQ(code(client.post(completeTarget(id) + "&part_number=1", "")), invalidParameter);
  part(id, 1, "x");
  EXPECT_EQ(code(complete(id)), 0);
}

TEST_F(DouyinUpload, BodyOfCompleteIsIgnored) {
  const std::string id = open();
  part(id, 1, "first");

  EXPECT_EQ(code(complete(id, std::string(partSize, 'b'))), 0);

  EXPECT_EQ(server.uploads()[0].sha256, sha256Of("first"));
  EXPECT_EQ(server.requests(Route::douyinUploadComplete)[0].bodySize, partSize);
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

  EXPECT_EQ(code(answer), unknownUpload);
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
  constexpr std::size_t uploads = 50;
  const std::string file = someFile(partSize + 77);
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < uploads; ++number) {
    threads.emplace_back([&] {
      TestClient own(server);
      const std::string id = open(own);
      own.post(partTarget(id, "1"), file.substr(0, partSize));
      own.post(partTarget(id, "2"), file.substr(partSize));
      own.post(completeTarget(id), file.substr(partSize));
    });
  }
  for (std::thread& thread : threads) thread.join();

  ASSERT_TRUE(server.waitForUploads(uploads, std::chrono::seconds(60)));
  const std::string expected = sha256Of(file);
  for (const sandbox::UploadRecord& upload : server.uploads()) EXPECT_EQ(upload.sha256, expected);
}

}  // namespace
