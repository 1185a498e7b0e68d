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

constexpr std::size_t unit = std::size_t{256} * 1024;

class YoutubeUpload : public testing::Test {
 protected:
  Answer open(const std::string& body, const Fields& headers, const std::string& target = uploadTarget) {
    return client.post(target, body, headers);
  }

  Sandbox server;
  TestClient client{server};
  std::string token = server.issueTokens(Platform::youtube).accessToken;
};

TEST_F(YoutubeUpload, FileInThreeChunksArrivesWhole) {
  const std::string file = someFile(2 * unit + 1000);
  const std::string target = openUpload(client, token, file.size());

  const Answer first = putChunk(client, target, token, file, 0, unit);
  const Answer second = putChunk(client, target, token, file, unit, unit);
  const Answer last = putChunk(client, target, token, file, 2 * unit, 1000);

  EXPECT_EQ(first.status, 308);
  EXPECT_EQ(first.header("Range"), "bytes=0-262143");
  EXPECT_TRUE(first.body.empty());
  EXPECT_EQ(second.header("Range"), "bytes=0-524287");
  ASSERT_EQ(last.status, 200);
  EXPECT_EQ(last.json()["kind"], "youtube#video");
  const auto upload = server.uploadByMediaId(last.json()["id"].asString());
  ASSERT_TRUE(upload);
  EXPECT_TRUE(upload->complete);
  EXPECT_EQ(upload->service, "youtube");
  EXPECT_EQ(upload->openId, server.users()[0].openId);
  EXPECT_EQ(upload->receivedSize, file.size());
  EXPECT_EQ(upload->sha256, sha256Of(file));
  EXPECT_EQ(upload->metadata, metadata("title"));
  EXPECT_EQ(upload->mediaType, "application/octet-stream");
  ASSERT_EQ(upload->chunks.size(), 3U);
  EXPECT_EQ(upload->chunks[2].offset, 2 * unit);
  EXPECT_EQ(upload->chunks[2].size, 1000U);
  EXPECT_TRUE(server.waitForUploads(1, std::chrono::seconds(30)));
}

TEST_F(YoutubeUpload, HashIsSha256) {
  EXPECT_EQ(sha256Of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(YoutubeUpload, LocationNameIsConfigurable) {
  SandboxOptions options;
  options.locationHeader = "location";
  Sandbox modern(options);
  TestClient other(modern);

  const Answer answer = other.post(uploadTarget, metadata("t"),
                                   openHeaders(modern.issueTokens(Platform::youtube).accessToken, 5));

  const bool lowerCase = std::any_of(answer.headers.begin(), answer.headers.end(),
                                     [](const auto& header) { return header.first == "location"; });
  EXPECT_TRUE(lowerCase);
}

TEST_F(YoutubeUpload, OpeningChecksTheToken) {
  EXPECT_EQ(open(metadata("t"), openHeaders("unknown", 5)).status, 401);
  EXPECT_EQ(open(metadata("t"), openHeaders("unknown", 5)).json()["error"]["code"], 401);
  const std::string tiktok = server.issueTokens(Platform::tiktok).accessToken;
  EXPECT_EQ(open(metadata("t"), openHeaders(tiktok, 5)).status, 401);
  EXPECT_TRUE(server.uploads().empty());
}

TEST_F(YoutubeUpload, OpeningChecksTheQuery) {
  const std::string path = "/upload/youtube/v3/videos";
  for (const char* query :
       {"", "?part=snippet,status&alt=json", "?part=snippet,status&alt=json&uploadType=media",
        "?part=snippet&alt=json&uploadType=resumable", "?part=status&alt=json&uploadType=resumable",
        "?part=snippet,status&uploadType=resumable"}) {
    EXPECT_EQ(open(metadata("t"), openHeaders(token, 5), path + query).status, 400) << query;
  }
  const std::string unknown = "?part=snippet,status&alt=json&uploadType=resumable&notifySubscribers=false";
  EXPECT_EQ(open(metadata("t"), openHeaders(token, 5), path + unknown).status, 200) << "nobody here knows it";
  EXPECT_EQ(client.get(path + "?part=snippet,status&alt=json&uploadType=resumable").status, 405);
}

TEST_F(YoutubeUpload, OpeningChecksTheHeaders) {
  const auto with = [&](const std::string& name, const std::string& value) {
    Fields headers = openHeaders(token, 5);
    for (auto& header : headers) {
      if (header.first == name) header.second = value;
    }
    return open(metadata("t"), headers).status;
  };

  EXPECT_EQ(with("X-Upload-Content-Length", "0"), 400);
  EXPECT_EQ(with("X-Upload-Content-Length", "-1"), 400);
  EXPECT_EQ(with("X-Upload-Content-Length", "many"), 400);
  EXPECT_EQ(with("X-Upload-Content-Type", "text/plain"), 400);
  EXPECT_EQ(with("Content-Type", "text/plain"), 400);
  EXPECT_EQ(with("X-Upload-Content-Length", ""), 400);
  EXPECT_EQ(with("X-Upload-Content-Type", "video/mp4"), 200);
  EXPECT_EQ(with("Content-Type", "application/json; charset=UTF-8"), 200);
}

TEST_F(YoutubeUpload, OpeningChecksTheMetadata) {
  const auto with = [&](const std::string& body) { return open(body, openHeaders(token, 5)).status; };

  EXPECT_EQ(with("no json"), 400);
  EXPECT_EQ(with("[]"), 400);
  EXPECT_EQ(with("{}"), 400);
  EXPECT_EQ(with(metadata("")), 400);
  EXPECT_EQ(with(metadata("a<b")), 400);
  EXPECT_EQ(with(metadata(std::string(101, 't'))), 400);
  EXPECT_EQ(with(metadata(std::string(100, 't'))), 200);
  EXPECT_EQ(with(R"({"snippet":{"title":"t","description":">"}})"), 400);
  const std::string longest(5000, 'd');
  EXPECT_EQ(with(R"({"snippet":{"title":"t","description":")" + longest + "\"}}"), 200);
  EXPECT_EQ(with(R"({"snippet":{"title":"t","description":"d)" + longest + "\"}}"), 400);
  EXPECT_EQ(with(R"({"snippet":{"title":"t","tags":"one text"}})"), 200);
  EXPECT_EQ(with(R"({"snippet":{"title":"t"},"status":{"license":"creativeCommon"}})"), 200);
  EXPECT_EQ(with(R"({"snippet":{"title":"t"},"status":{"privacyStatus":""}})"), 400);
  EXPECT_EQ(with(R"({"snippet":{"title":"t"},"status":{"license":"mine"}})"), 400);
}

TEST_F(YoutubeUpload, TagsHaveRoomForFiveHundredCharactersAsOneList) {
  const auto with = [&](const std::string& tags) {
    return open(R"({"snippet":{"title":"t","tags":[)" + tags + "]}}", openHeaders(token, 5));
  };
  const std::string half = '"' + std::string(249, 't') + '"';

  EXPECT_EQ(with(half + "," + half).status, 200) << "499";
  EXPECT_EQ(with(half + "," + half + R"(,"")").status, 200) << "500, a comma included";
  EXPECT_EQ(with(half + "," + half + R"(,"t")").json()["error"]["errors"][0]["reason"], "invalidTags");
  EXPECT_EQ(with(half + ",\"t " + std::string(247, 't') + '"').status, 400)
      << "quotes count where a blank is";
}

TEST_F(YoutubeUpload, MetadataChecksCanBeLeftOut) {
  SandboxOptions options;
  options.strictMetadata = false;
  Sandbox lenient(options);
  TestClient other(lenient);

  const Answer answer = other.post(uploadTarget, metadata(""),
                                   openHeaders(lenient.issueTokens(Platform::youtube).accessToken, 5));

  EXPECT_EQ(answer.status, 200);
}

TEST_F(YoutubeUpload, ChunkMayBringARefreshedTokenOfTheSameUser) {
  const std::string file = someFile(2 * unit);
  const std::string target = openUpload(client, token, file.size());
  ASSERT_EQ(putChunk(client, target, token, file, 0, unit).status, 308);
  const std::string fresh = server.issueTokens(Platform::youtube).accessToken;

  EXPECT_EQ(putChunk(client, target, fresh, file, unit, unit).status, 200);

  const auto chunks = server.uploads()[0].chunks;
  ASSERT_EQ(chunks.size(), 2U);
  EXPECT_EQ(chunks[0].token, token);
  EXPECT_EQ(chunks[1].token, fresh);
}

TEST_F(YoutubeUpload, ChunkOfAnotherUserOrWithADeadTokenIsRefused) {
  const std::string file = someFile(unit);
  const std::string target = openUpload(client, token, file.size());
  const std::string stranger = server.issueTokens(Platform::youtube, server.users()[1].openId).accessToken;

  EXPECT_EQ(putChunk(client, target, stranger, file, 0, unit).status, 403);
  server.expireAccessTokens();
  EXPECT_EQ(putChunk(client, target, token, file, 0, unit).status, 401);
  EXPECT_EQ(server.uploads()[0].receivedSize, 0U);
}

TEST_F(YoutubeUpload, ChunkChecksItsRange) {
  const std::string file = someFile(3 * unit);
  const std::string target = openUpload(client, token, file.size());
  const auto with = [&](const std::string& range, std::size_t size) {
    return client.put(target, std::string(size, 'x'), {bearer(token), {"Content-Range", range}}).status;
  };

  EXPECT_EQ(with("", unit), 400);
  EXPECT_EQ(with("bytes 0-262143", unit), 400);
  EXPECT_EQ(with("bits 0-262143/786432", unit), 400);
  EXPECT_EQ(with("bytes 262143-0/786432", unit), 400);
  EXPECT_EQ(with("bytes 0-786432/786432", unit), 400);
  EXPECT_EQ(with("bytes 0-262143/786433", unit), 400) << "another total";
  EXPECT_EQ(with("bytes 262144-524287/786432", unit), 400) << "a gap";
  EXPECT_EQ(with("bytes 0-262142/786432", unit - 1), 400) << "no multiple of 256 KiB";
  EXPECT_EQ(with("bytes 0-262143/786432", unit - 1), 400) << "a body that is shorter";
  EXPECT_EQ(with("bytes 0-262143/786432", unit + 1), 400) << "a body that is longer";
  EXPECT_EQ(with("bytes 0-262143/786432", 0), 400) << "no body";
  EXPECT_EQ(server.uploads()[0].receivedSize, 0U);
  EXPECT_EQ(with("bytes 0-262143/786432", unit), 308);
}

TEST_F(YoutubeUpload, UnknownSessionIsNotFound) {
  EXPECT_EQ(putChunk(client, "/upload/youtube/v3/videos?upload_id=none", token, someFile(10), 0, 10).status,
            404);
}

TEST_F(YoutubeUpload, QuestionAnswersWhatHasArrived) {
  const std::string file = someFile(2 * unit);
  const std::string target = openUpload(client, token, file.size());
  const Fields question{bearer(token), {"Content-Range", "bytes */" + std::to_string(file.size())}};

  const Answer nothing = client.put(target, "", question);
  EXPECT_EQ(nothing.status, 308);
  EXPECT_EQ(nothing.header("Range"), "");
  putChunk(client, target, token, file, 0, unit);
  EXPECT_EQ(client.put(target, "", question).header("Range"), "bytes=0-262143");
  putChunk(client, target, token, file, unit, unit);
  EXPECT_EQ(client.put(target, "", question).status, 200);
}

TEST_F(YoutubeUpload, BytesThatAreSentAgainCountOnce) {
  const std::string file = someFile(3 * unit);
  const std::string target = openUpload(client, token, file.size());
  putChunk(client, target, token, file, 0, unit);

  EXPECT_EQ(putChunk(client, target, token, file, 0, unit).header("Range"), "bytes=0-262143");
  EXPECT_EQ(putChunk(client, target, token, file, 0, 2 * unit).header("Range"), "bytes=0-524287");
  EXPECT_EQ(putChunk(client, target, token, file, 2 * unit, unit).status, 200);
  EXPECT_EQ(putChunk(client, target, token, file, 2 * unit, unit).status, 200)
      << "the answer of the end was lost";

  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(YoutubeUpload, ChunkCountsInPartWhenToldSo) {
  const std::string file = someFile(3 * unit + 7);
  const std::string target = openUpload(client, token, file.size());
  const auto none = server.orderFault(Route::youtubeUploadChunk, Fault::acceptLess(unit - 1));
  EXPECT_EQ(putChunk(client, target, token, file, 0, 2 * unit).header("Range"), "");
  EXPECT_EQ(server.faultsDelivered(none), 1U);

  const auto one = server.orderFault(Route::youtubeUploadChunk, Fault::acceptLess(unit + 5), 1, 2);
  const Answer first = putChunk(client, target, token, file, 0, 2 * unit);
  EXPECT_EQ(first.status, 308);
  EXPECT_EQ(first.header("Range"), "bytes=0-262143");
  const Answer last = putChunk(client, target, token, file, unit, file.size() - unit);
  EXPECT_EQ(last.status, 308) << "the last chunk";
  EXPECT_EQ(last.header("Range"), "bytes=0-524287");
  EXPECT_EQ(server.faultsDelivered(one), 2U);

  EXPECT_EQ(putChunk(client, target, token, file, 3 * unit, 7).status, 400) << "what did not count is a gap";
  EXPECT_EQ(putChunk(client, target, token, file, unit, file.size() - unit).status, 200);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(YoutubeUpload, GatewayMayRefuseWhatTheServiceHasTaken) {
  const std::string file = someFile(unit + 7);
  const std::string target = openUpload(client, token, file.size());
  const Fault refused = Fault::statusAfterAct(524, "late", "text/plain").withHeader("Retry-After", "7");
  const auto order = server.orderFault(Route::youtubeUploadChunk, refused);

  const Answer answer = putChunk(client, target, token, file, 0, file.size());

  EXPECT_EQ(answer.status, 524);
  EXPECT_EQ(answer.body, "late");
  EXPECT_EQ(answer.header("Content-Type"), "text/plain");
  EXPECT_EQ(answer.header("Retry-After"), "7");
  EXPECT_EQ(server.faultsDelivered(order), 1U);
  EXPECT_TRUE(server.uploads()[0].complete);
  EXPECT_EQ(putChunk(client, target, token, file, 0, file.size()).status, 200);
}

TEST_F(YoutubeUpload, HashingCanBeLeftOut) {
  SandboxOptions options;
  options.hashUploads = false;
  Sandbox fast(options);
  TestClient other(fast);
  const std::string good = fast.issueTokens(Platform::youtube).accessToken;
  const std::string file = someFile(unit);

  putChunk(other, openUpload(other, good, file.size()), good, file, 0, file.size());

  EXPECT_TRUE(fast.uploads()[0].complete);
  EXPECT_EQ(fast.uploads()[0].sha256, "");
}

TEST_F(YoutubeUpload, HundredUploadsAtOnceArriveWhole) {
  constexpr std::size_t uploads = 100;
  const std::string file = someFile(2 * unit + 77);
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < uploads; ++number) {
    threads.emplace_back([&] {
      TestClient own(server);
      const std::string target = openUpload(own, token, file.size());
      putChunk(own, target, token, file, 0, unit);
      putChunk(own, target, token, file, unit, unit);
      putChunk(own, target, token, file, 2 * unit, 77);
    });
  }
  for (std::thread& thread : threads) thread.join();

  ASSERT_TRUE(server.waitForUploads(uploads, std::chrono::seconds(30)));
  const std::string expected = sha256Of(file);
  for (const sandbox::UploadRecord& upload : server.uploads()) EXPECT_EQ(upload.sha256, expected);
}

}  // namespace
