// The resumable upload against a scripted network: every byte that is sent and every way to end.
#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/Records.h"
#include "foundation/BsCloudConfig/BsCloudConfig.h"
#include "foundation/BsNet/BsErrorInfo.h"
#include "foundation/BsNet/NetKeys.h"
#include "foundation/BsNet/createInfoObject.h"
#include "support/RecordingLogger.h"
#include "support/Seed.h"
#include "support/TemporaryDirectory.h"
#include "uploaders/BsExternlMediaAuthYoutubeUploadFileRequest.h"
#include "uploaders/FakeManager.h"
#include "uploaders/InstantTime.h"
#include "uploaders/ScriptedNetwork.h"
#include "uploaders/UploadRequests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

using namespace KBL;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

namespace {
constexpr std::uint64_t mebi2 = 2097152;
constexpr const char* uploadUrl = "http://127.0.0.1:9/upload/videos";
constexpr const char* sessionUri = "http://127.0.0.1:9/session/1";
constexpr const char* goodAnswer = R"({"kind":"youtube#video","id":"abc123"})";

/// The progress and error code of each delivery to the callbacks.
class Deliveries final : public IBsRequstCallback {
 public:
  _Result queryResponse(IBsBaseRequest*, IBsInfoReader* info, IBsErrorInfo* error) override {
    progress.emplace_back(info->charKeyConfig(ExternlMediaUploadCharKey::progress));
    codes.push_back(error->errorCode());
    return resultOk;
  }
  std::vector<std::string> progress;
  std::vector<int> codes;
};

class YoutubeUpload : public testing::Test {
 protected:
  YoutubeUpload() {
    setCloudConfig({{"urlExternlMediaAuthYoutubeUpload", uploadUrl}});
    context_.logTag = manager_.tag();
    context_.platform = ema_youtube;
    request_ = makeRef<BsExternlMediaAuthYoutubeUploadFileRequest>();
    initAuthRequest(context_, "user-1", *request_);
    request_->addCallback(&deliveries_, false);
  }
  ~YoutubeUpload() override { clearCloudConfig(); }

  /// A file of that size whose bytes tell their place.
  void useFile(std::uint64_t size) {
    contents_.resize(size);
    for (std::size_t i = 0; i < contents_.size(); ++i) {
      contents_[i] = static_cast<char>((i * 31 + i / 4096) & 0xFF);
    }
    path_ = files_.write("clip.mp4", contents_);
    info_->setCharKeyConfig("upload_file_path", path_.c_str());
  }
  void replySession() { network_.reply(200, "", {{"Location", sessionUri}}); }
  void run() { request_->syncRequestWithInfo(info_.get()); }

  [[nodiscard]] int code() const { return request_->errorInfo()->errorCode(); }
  [[nodiscard]] std::string message() const { return request_->errorInfo()->errorMessage(); }
  [[nodiscard]] std::string text(const char* key) const {
    const char* const value = info_->charKeyConfig(key);
    return value == nullptr ? "(unset)" : value;
  }
  [[nodiscard]] std::vector<std::string> sentRanges() const {
    std::vector<std::string> ranges;
    for (std::size_t i = 1; i < network_.sent.size(); ++i) {
      ranges.push_back(network_.sent[i].header("Content-Range"));
    }
    return ranges;
  }

  InstantTime time_;
  InstalledManager manager_{ema_youtube};
  ScriptedNetwork network_;
  TemporaryDirectory files_;
  AuthContext context_;
  Deliveries deliveries_;
  std::string contents_;
  std::string path_;
  RefPtr<BsExternlMediaUploadInfo> info_ = makeRef<BsExternlMediaUploadInfo>();
  RefPtr<BsExternlMediaAuthYoutubeUploadFileRequest> request_;
};

// --- Construction

TEST_F(YoutubeUpload, IsFixedAtConstruction) {
  EXPECT_EQ(request_->requestType(), 7);
  EXPECT_STREQ(request_->getRequestName(), "ExternlMediaAuthYoutubeUpload");
  EXPECT_NE(request_->QueryInterfaceByName("BsExternlMediaAuthRequest"), nullptr);
}

TEST(MakeUploadRequest, KnowsTheUploadOfEachPlatform) {
  EXPECT_EQ(makeUploadRequest(0)->requestType(), 7);
  EXPECT_EQ(makeUploadRequest(2)->requestType(), 9);
  EXPECT_EQ(makeUploadRequest(3)->requestType(), 11);
  for (const int platform : {-1, 1, 4, 99}) EXPECT_FALSE(makeUploadRequest(platform)) << platform;
}

// --- The session

TEST_F(YoutubeUpload, TheSessionOpensWithTheVideosMetadata) {
  useFile(5);
  info_->setCharKeyConfig("upload_title", "Käse \"1\"");
  info_->setCharKeyConfig("upload_desc", "two\nlines");
  info_->setCharKeyConfig("upload_tags", "one,two");
  info_->setCharKeyConfig("upload_privacy", "private");
  info_->setCharKeyConfig("upload_category", "22");
  info_->setCharKeyConfig("upload_thumbnail_path", "/cover.png");
  replySession();
  network_.reply(200, goodAnswer);

  run();

  const SentExchange& open = network_.sent.at(0);
  EXPECT_EQ(open.url,
            std::string(uploadUrl) + "?part=snippet,status,recordingDetails&alt=json&uploadType=resumable");
  EXPECT_EQ(open.method, httpPost);
  EXPECT_FALSE(open.watched);
  EXPECT_THAT(open.headers, ElementsAre(std::pair{"Authorization", "Bearer token-1"},
                                        std::pair{"Content-Type", "application/json"},
                                        std::pair{"X-Upload-Content-Length", "5"},
                                        std::pair{"X-Upload-Content-Type", "application/octet-stream"}));
  ASSERT_FALSE(open.body.empty());
  EXPECT_EQ(open.body.back(), '\n');
  EXPECT_EQ(open.body.find('\n'), open.body.size() - 1);
  EXPECT_THAT(open.body, testing::HasSubstr(R"("tags":"one,two")"));
  EXPECT_THAT(open.body, testing::HasSubstr(R"("privacyStatus":"private")"));
  EXPECT_THAT(open.body, testing::HasSubstr(R"("license":"youtube")"));
  EXPECT_THAT(open.body, testing::HasSubstr(R"("description":"two\nlines")"));
  EXPECT_THAT(open.body, testing::Not(testing::HasSubstr("cover.png")));
  EXPECT_THAT(open.body, testing::Not(testing::HasSubstr("22")));
}

TEST_F(YoutubeUpload, UnsetTextsAreSentEmpty) {
  useFile(1);
  replySession();
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.sent.at(0).body, R"({"snippet":{"description":"","tags":"","title":""},)"
                                      R"("status":{"license":"youtube","privacyStatus":""}})"
                                      "\n");
}

TEST_F(YoutubeUpload, TheHostsPublicHeadersDoNotTravelWithTheVideo) {
  useFile(1);
  const auto pubInfo = adoptRef(createInfoObject(infoObjectPubInfo));
  auto* const writable = queryInterface<BsBaseInfoRW>(pubInfo.get(), "BsBaseInfoRW");
  writable->setCharKeyConfig(PubCharKey::prodVer, "9.9");
  request_->setPubParam(queryInterface<IBsPubInfo>(pubInfo.get(), "IBsPubInfo"));
  replySession();
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.sent.at(0).header(PubCharKey::prodVer), "(none)");
  EXPECT_EQ(network_.sent.at(1).header(PubCharKey::prodVer), "(none)");
}

TEST_F(YoutubeUpload, ALocationInLowerCaseOpensTheSessionToo) {
  useFile(1);
  network_.reply(200, "", {{"location", sessionUri}});
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.sent.at(1).url, sessionUri);
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(YoutubeUpload, ARefusedSessionReportsItsStatusAndBodyAndIsNotRetried) {
  useFile(1);
  const ScopedRecordingLogger log;
  network_.reply(403, "no way");
  run();
  EXPECT_EQ(code(), 403);
  EXPECT_EQ(message(), "no way");
  EXPECT_THAT(network_.sent, SizeIs(1));
  const auto lines = log->linesWith("resumable_uri is not exist");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].severity, 2);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthYoutubeUploadFileRequest::Request");
  EXPECT_EQ(text("upload_stop"), "(unset)");
}

TEST_F(YoutubeUpload, ASessionWithAStatusOf201AndALocationIsNone) {
  useFile(1);
  network_.reply(201, "made", {{"Location", sessionUri}});
  run();
  EXPECT_EQ(code(), 201);
  EXPECT_EQ(message(), "made");
  EXPECT_THAT(network_.sent, SizeIs(1));
}

TEST_F(YoutubeUpload, ASessionWithoutALocationEndsWithoutAnError) {
  useFile(1);
  network_.reply(200, "");
  run();
  EXPECT_EQ(code(), 0);
  EXPECT_THAT(network_.sent, SizeIs(1));
  EXPECT_EQ(text("upload_stop"), "(unset)");
}

TEST_F(YoutubeUpload, ABrokenSessionReportsTheTransportFailure) {
  useFile(1);
  network_.failure(7, "could not connect");
  run();
  EXPECT_EQ(code(), 200007);
  EXPECT_EQ(message(), "could not connect");
  EXPECT_EQ(request_->errorInfo()->originCode(), 7);
  EXPECT_THAT(network_.sent, SizeIs(1));
}

// --- Before the session

TEST_F(YoutubeUpload, WithoutATokenNothingIsSent) {
  useFile(1);
  manager_->onAccessToken = [] { return std::string(); };
  replySession();
  run();
  EXPECT_EQ(code(), 140013);
  EXPECT_EQ(message(), "access token param invalid");
  EXPECT_THAT(network_.sent, IsEmpty());
}

TEST_F(YoutubeUpload, AMissingFileIsReportedWithItsPath) {
  info_->setCharKeyConfig("upload_file_path", "/no/such/Fil\xC3\xA9.mp4");
  replySession();
  run();
  EXPECT_EQ(code(), -10023);
  EXPECT_EQ(message(), "/no/such/Fil\xC3\xA9.mp4, not exist");
  EXPECT_THAT(network_.sent, IsEmpty());
}

TEST_F(YoutubeUpload, AnUnsetPathIsAMissingFile) {
  replySession();
  run();
  EXPECT_EQ(code(), -10023);
  EXPECT_EQ(message(), ", not exist");
}

TEST_F(YoutubeUpload, ADirectoryCannotBeOpened) {
  const std::string path = files_.path().string();
  info_->setCharKeyConfig("upload_file_path", path.c_str());
  replySession();
  run();
  EXPECT_EQ(code(), -10024);
  EXPECT_EQ(message(), path + ", open failed");
  EXPECT_THAT(network_.sent, IsEmpty());
}

TEST_F(YoutubeUpload, AnEmptyFileIsRefused) {
  useFile(0);
  replySession();
  run();
  EXPECT_EQ(code(), -10025);
  EXPECT_EQ(message(), path_ + ", empty file");
  EXPECT_THAT(network_.sent, IsEmpty());
}

TEST_F(YoutubeUpload, APathOutsideAsciiIsRead) {
  contents_ = "hello";
  path_ = files_.write("ビデオ é.mp4", contents_);
  info_->setCharKeyConfig("upload_file_path", path_.c_str());
  replySession();
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.sent.at(1).body, "hello");
}

// --- Chunks

struct SizeCase {
  const char* name;
  std::uint64_t size;
  std::vector<std::string> ranges;
};

class YoutubeUploadSizes : public YoutubeUpload, public testing::WithParamInterface<SizeCase> {};

TEST_P(YoutubeUploadSizes, GoOutInChunksOf2MebibytesAndNoByteIsLost) {
  useFile(GetParam().size);
  replySession();
  for (std::size_t i = 1; i < GetParam().ranges.size(); ++i) network_.reply(308);
  network_.reply(200, goodAnswer);

  run();

  EXPECT_EQ(sentRanges(), GetParam().ranges);
  std::string received;
  for (std::size_t i = 1; i < network_.sent.size(); ++i) {
    const SentExchange& chunk = network_.sent[i];
    EXPECT_EQ(chunk.url, sessionUri);
    EXPECT_EQ(chunk.method, httpPut);
    EXPECT_FALSE(chunk.watched);
    EXPECT_THAT(chunk.headers, SizeIs(4));
    EXPECT_EQ(chunk.header("Content-Length"), std::to_string(chunk.body.size()));
    EXPECT_EQ(chunk.header("accept-encoding"), "gzip, deflate");
    EXPECT_EQ(chunk.header("Authorization"), "Bearer token-1");
    received += chunk.body;
  }
  EXPECT_TRUE(received == contents_);
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_EQ(text("upload_progress"), "100");
  EXPECT_EQ(text("upload_video_url"), "https://www.youtube.com/watch?v=abc123");
  EXPECT_EQ(deliveries_.progress.back(), "99");
  EXPECT_THAT(time_.sleeps(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Files, YoutubeUploadSizes,
    testing::Values(
        SizeCase{"OneByte", 1, {"bytes 0-0/1"}},
        SizeCase{"OneByteLess", mebi2 - 1, {"bytes 0-2097150/2097151"}},
        SizeCase{"OneChunk", mebi2, {"bytes 0-2097151/2097152"}},
        SizeCase{"OneByteMore", mebi2 + 1, {"bytes 0-2097151/2097153", "bytes 2097152-2097152/2097153"}},
        SizeCase{"ThreeChunksAndABit",
                 3 * mebi2 + 10,
                 {"bytes 0-2097151/6291466", "bytes 2097152-4194303/6291466", "bytes 4194304-6291455/6291466",
                  "bytes 6291456-6291465/6291466"}}),
    [](const auto& test) { return test.param.name; });

TEST_F(YoutubeUpload, AnAnswer308WithoutABodyGoesOnAtOnce) {
  useFile(2 * mebi2);
  replySession();
  network_.reply(308);
  network_.reply(200, goodAnswer);
  run();
  EXPECT_THAT(sentRanges(), SizeIs(2));
  EXPECT_THAT(time_.sleeps(), IsEmpty());
}

TEST_F(YoutubeUpload, TheTokenIsTakenAnewForEachChunk) {
  useFile(3 * mebi2);
  int asked = 0;
  manager_->onAccessToken = [&] { return "token-" + std::to_string(++asked); };
  replySession();
  network_.reply(308);
  network_.reply(308);
  network_.reply(200, goodAnswer);
  run();
  std::vector<std::string> bearers;
  for (const SentExchange& exchange : network_.sent) bearers.push_back(exchange.header("Authorization"));
  EXPECT_THAT(bearers, ElementsAre("Bearer token-1", "Bearer token-2", "Bearer token-3", "Bearer token-4"));
}

TEST_F(YoutubeUpload, AShorterTokenReplacesTheLongerOneAsAWhole) {
  useFile(2 * mebi2);
  std::deque<std::string> tokens{"a-long-token", "a-long-token", "short"};
  manager_->onAccessToken = [&] {
    std::string token = tokens.front();
    if (tokens.size() > 1) tokens.pop_front();
    return token;
  };
  replySession();
  network_.reply(308);
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.sent.at(2).header("Authorization"), "Bearer short");
}

TEST_F(YoutubeUpload, ATokenThatVanishesLeavesTheFormerOneInUse) {
  useFile(2 * mebi2);
  replySession();
  network_.reply(308);
  network_.reply(200, goodAnswer);
  network_.onExchange = [&](std::size_t exchange) {
    if (exchange == 2) manager_->onAccessToken = [] { return std::string(); };
  };
  run();
  EXPECT_EQ(network_.sent.at(2).header("Authorization"), "Bearer token-1");
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(YoutubeUpload, ALongTokenTravelsWhole) {
  useFile(1);
  manager_->onAccessToken = [] { return std::string(8192, 't'); };
  replySession();
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.sent.at(1).header("Authorization"), "Bearer " + std::string(8192, 't'));
}

// --- Progress

TEST_F(YoutubeUpload, ProgressRunsOnePointBehindTheBytes) {
  useFile(4 * mebi2);
  replySession();
  for (int i = 0; i < 3; ++i) network_.reply(308);
  network_.reply(200, goodAnswer);
  run();
  EXPECT_THAT(deliveries_.progress, ElementsAre("24", "49", "74", "99"));
  EXPECT_THAT(deliveries_.codes, Each(0));
}

TEST_F(YoutubeUpload, TheFirstOfAHundredChunksReads0) {
  const std::string chunk(mebi2, 'c');
  NetReply reply;
  network_.reply(308);
  const auto shownAfter = [&](std::uint64_t chunks) {
    const std::unique_ptr<INetworkClient> client(makeNetworkClient());
    request_->retryUpload(client.get(), sessionUri, {}, chunk, 100 * mebi2, (chunks - 1) * mebi2, info_.get(),
                          &reply, 3);
    return text("upload_progress");
  };
  for (std::uint64_t chunks = 1; chunks <= 100; ++chunks) {
    ASSERT_EQ(shownAfter(chunks), std::to_string(chunks - 1)) << chunks;
  }
}

TEST_F(YoutubeUpload, TheWholeFileReads99WhateverItsSize) {
  auto random = seededGenerator();
  NetReply reply;
  network_.reply(308);
  const std::unique_ptr<INetworkClient> client(makeNetworkClient());
  std::vector<std::uint64_t> sizes{1, 671089, mebi2, 5368709121U};
  for (int i = 0; i < 200; ++i) sizes.push_back(random() % 10'000'000'000U + 1);
  for (const std::uint64_t size : sizes) {
    request_->retryUpload(client.get(), sessionUri, {}, "x", size, size - 1, info_.get(), &reply, 3);
    ASSERT_EQ(text("upload_progress"), "99") << size;
  }
}

TEST_F(YoutubeUpload, TheFirstByteOfALargeFileReads0) {
  NetReply reply;
  network_.reply(308);
  const std::unique_ptr<INetworkClient> client(makeNetworkClient());
  request_->retryUpload(client.get(), sessionUri, {}, "x", 1000000, 0, info_.get(), &reply, 3);
  EXPECT_EQ(text("upload_progress"), "0");
}

// --- Refused chunks

class RefusedChunk : public YoutubeUpload, public testing::WithParamInterface<int> {};

TEST_P(RefusedChunk, IsTriedThreeTimesAndReadsAsTheUsersCancel) {
  useFile(mebi2 + 5);
  const ScopedRecordingLogger log;
  replySession();
  network_.reply(GetParam(), R"({"error":{"code":5,"message":"x"}})");

  run();

  EXPECT_EQ(code(), -10007);
  EXPECT_EQ(message(), "User cancelled!");
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_EQ(text("upload_progress"), "(unset)");
  EXPECT_THAT(sentRanges(),
              ElementsAre("bytes 0-2097151/2097157", "bytes 0-2097151/2097157", "bytes 0-2097151/2097157"));
  for (std::size_t i = 1; i <= 3; ++i) EXPECT_TRUE(network_.sent[i].body == contents_.substr(0, mebi2));
  EXPECT_THAT(log->linesWith(", try: "), SizeIs(2));
  EXPECT_TRUE(log->hasLine("upload, bytes 0-2097151/2097157, try: 1/3"));
  EXPECT_TRUE(log->hasLine("upload, bytes 0-2097151/2097157, try: 2/3"));
  for (const LogLine& line : log->linesWith(", try: ")) {
    EXPECT_EQ(line.severity, 4);
    EXPECT_EQ(line.function, "KBL::BsExternlMediaAuthYoutubeUploadFileRequest::retryUpload");
    EXPECT_GT(line.line, 0);
  }
}

TEST_P(RefusedChunk, IsTriedAgainAfter50To999Milliseconds) {
  useFile(1);
  replySession();
  network_.reply(GetParam());
  run();
  // The last failed try pauses like the others, ahead of the report.
  EXPECT_THAT(time_.sleeps(), AllOf(SizeIs(3), Each(AllOf(Ge(50), Le(999)))));
}

INSTANTIATE_TEST_SUITE_P(Statuses, RefusedChunk, testing::Values(401, 403, 404, 500, 503, 201, 302));

TEST_F(YoutubeUpload, ASecondTryThatIsAcceptedGoesOn) {
  useFile(2 * mebi2);
  replySession();
  network_.reply(503);
  network_.reply(308);
  network_.reply(200, goodAnswer);
  run();
  EXPECT_THAT(sentRanges(), ElementsAre("bytes 0-2097151/4194304", "bytes 0-2097151/4194304",
                                        "bytes 2097152-4194303/4194304"));
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_THAT(time_.sleeps(), SizeIs(1));
}

TEST_F(YoutubeUpload, ALastTryThatBrokeReportsTheTransport) {
  useFile(1);
  replySession();
  network_.reply(500);
  network_.reply(500);
  network_.failure(56, "connection reset");
  run();
  EXPECT_EQ(code(), 200056);
  EXPECT_EQ(message(), "connection reset");
  EXPECT_EQ(text("upload_stop"), "upload_error");
}

TEST_F(YoutubeUpload, AChunkWithoutTriesIsReportedAsSuch) {
  NetReply reply;
  EXPECT_FALSE(request_->retryUpload(nullptr, sessionUri, {}, "abc", 3, 0, info_.get(), &reply, 0));
  EXPECT_EQ(code(), -10028);
  EXPECT_EQ(message(), "Failed after 0 times try!");
  EXPECT_EQ(text("upload_stop"), "upload_error");
}

TEST_F(YoutubeUpload, AnEndWithoutTriesAfterA200MissesItsId) {
  NetReply reply;
  reply.httpCode = 200;
  EXPECT_FALSE(request_->retryUpload(nullptr, sessionUri, {}, "abc", 3, 0, info_.get(), &reply, 0));
  EXPECT_EQ(code(), -10027);
  EXPECT_EQ(message(), "Expected field 'id' not found in response");
}

// --- Ends of the loop

TEST_F(YoutubeUpload, AStopBetweenChunksEndsWithoutAnError) {
  useFile(3 * mebi2);
  replySession();
  network_.reply(308);
  network_.onExchange = [&](std::size_t exchange) {
    if (exchange == 2) info_->setCharKeyConfig("upload_stop", "user_cancelled");
  };
  run();
  EXPECT_THAT(sentRanges(), SizeIs(1));
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(text("upload_stop"), "user_cancelled");
  EXPECT_THAT(deliveries_.progress, ElementsAre("32"));
}

TEST_F(YoutubeUpload, AStopBeforeTheFirstChunkSendsNone) {
  useFile(1);
  replySession();
  network_.onExchange = [&](std::size_t) { info_->setCharKeyConfig("upload_stop", "user_cancelled"); };
  run();
  EXPECT_THAT(network_.sent, SizeIs(1));
  EXPECT_EQ(code(), 0);
}

TEST_F(YoutubeUpload, TheEndOfTheManagerStopsLikeTheUser) {
  useFile(3 * mebi2);
  replySession();
  network_.reply(308);
  network_.onExchange = [&](std::size_t exchange) {
    if (exchange == 2) manager_.die();
  };
  run();
  EXPECT_THAT(sentRanges(), SizeIs(1));
  EXPECT_EQ(code(), 0);
}

TEST_F(YoutubeUpload, AStopTakesTheDelayAwayButNotTheTries) {
  useFile(1);
  replySession();
  network_.reply(500);
  network_.onExchange = [&](std::size_t exchange) {
    if (exchange == 2) info_->setCharKeyConfig("upload_stop", "user_cancelled");
  };
  run();
  EXPECT_THAT(sentRanges(), SizeIs(3));
  EXPECT_THAT(time_.sleeps(), IsEmpty());
  EXPECT_EQ(code(), -10007);
}

TEST_F(YoutubeUpload, AFileThatShrinksIsAReadError) {
  useFile(3 * mebi2);
  replySession();
  network_.reply(308);
  network_.onExchange = [&](std::size_t exchange) {
    if (exchange == 2) std::filesystem::resize_file(std::filesystem::u8path(path_), 10);
  };
  run();
  EXPECT_EQ(code(), -10021);
  EXPECT_EQ(message(), "read file error");
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_THAT(sentRanges(), SizeIs(1));
}

TEST_F(YoutubeUpload, AFileThatGrowsIsSentUpToTheAnnouncedSize) {
  useFile(10);
  replySession();
  network_.reply(200, goodAnswer);
  network_.onExchange = [&](std::size_t exchange) {
    if (exchange == 1) std::filesystem::resize_file(std::filesystem::u8path(path_), 100);
  };
  run();
  EXPECT_THAT(sentRanges(), ElementsAre("bytes 0-9/10"));
  EXPECT_EQ(network_.sent.at(1).body, contents_);
}

TEST_F(YoutubeUpload, A200WithAnIdInTheMiddleIsASuccessAndSendingGoesOn) {
  useFile(2 * mebi2);
  replySession();
  network_.reply(200, goodAnswer);
  network_.reply(200, R"({"kind":"youtube#video","id":"second"})");
  run();
  EXPECT_THAT(sentRanges(), SizeIs(2));
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_EQ(text("upload_video_url"), "https://www.youtube.com/watch?v=second");
}

TEST_F(YoutubeUpload, A200WithoutAnIdAtTheEndIsNeitherSuccessNorError) {
  useFile(1);
  replySession();
  network_.reply(200, R"({"kind":"youtube#video"})");
  run();
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(text("upload_stop"), "(unset)");
  EXPECT_EQ(text("upload_video_url"), "(unset)");
  EXPECT_EQ(text("upload_progress"), "99");
}

TEST_F(YoutubeUpload, A200WithAnErrorBodyReportsTheServicesError) {
  useFile(1);
  replySession();
  network_.reply(200, R"({"error":{"code":231500,"message":"quota"}})");
  run();
  EXPECT_EQ(code(), 231500);
  EXPECT_EQ(message(), "quota");
}

TEST_F(YoutubeUpload, AnEmptyIdIsNoSuccess) {
  useFile(1);
  replySession();
  network_.reply(200, R"({"kind":"youtube#video","id":""})");
  run();
  EXPECT_EQ(text("upload_stop"), "(unset)");
}

// --- Reading answers

struct AnswerCase {
  const char* name;
  std::string content;
  int valid;
  int code;
  std::string message;
};

class YoutubeAnswer : public YoutubeUpload, public testing::WithParamInterface<AnswerCase> {};

TEST_P(YoutubeAnswer, IsCheckedForTheServicesError) {
  const ScopedRecordingLogger log;
  Json::Value root;
  std::string found;
  int foundCode = 77;
  EXPECT_EQ(request_->checkResponseValid(GetParam().content, root, found, foundCode), GetParam().valid);
  EXPECT_EQ(foundCode, GetParam().code);
  EXPECT_EQ(found, GetParam().message);
  const std::string line = "ExternlMediaAuthYoutubeUpload, error code:" + std::to_string(GetParam().code) +
                           ",msg:" + GetParam().message + ",content:" + GetParam().content +
                           ", url: " + uploadUrl;
  EXPECT_EQ(log->hasLine(line), GetParam().valid == 0);
  for (const LogLine& written : log->linesWith(", error code:")) {
    EXPECT_EQ(written.severity, 4);
    EXPECT_EQ(written.function, "KBL::BsExternlMediaAuthYoutubeUploadFileRequest::checkResponseValid");
    EXPECT_GT(written.line, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, YoutubeAnswer,
    testing::Values(AnswerCase{"Good", goodAnswer, 1, 0, ""}, AnswerCase{"NoMembers", "{}", 1, 0, ""},
                    AnswerCase{"Array", "[1]", 1, 0, ""},
                    AnswerCase{"Error", R"({"error":{"code":403,"message":"m"}})", 0, 403, "m"},
                    AnswerCase{"ErrorOfWrongTypes", R"({"error":{"code":"x","message":[1]}})", 0, 0, ""},
                    AnswerCase{"ErrorIsText", R"({"error":"invalid_grant"})", 0, 0, ""},
                    AnswerCase{"HugeCode", R"({"error":{"code":1e300}})", 0, 0, ""},
                    AnswerCase{"Empty", "", 0, 0, "can't read json. response:"},
                    AnswerCase{"NoJson", "oops", 0, 0, "can't read json. response:oops"},
                    AnswerCase{"Comment", "/* c */ {}", 0, 0, "can't read json. response:/* c */ {}"},
                    AnswerCase{"BareNumber", "7", 0, 0, "can't read json. response:7"},
                    AnswerCase{"DeepNesting", std::string(5000, '['), 0, 0,
                               "can't read json. response:" + std::string(5000, '[')}),
    [](const auto& test) { return test.param.name; });

TEST_F(YoutubeUpload, AnAnswerIsNotReadOverAnErrorThatStands) {
  NetReply reply;
  const auto error = makeRef<BsErrorInfo>();
  error->setError(-10021, "read file error");
  EXPECT_EQ(request_->parseEnvelope(info_.get(), goodAnswer, error.get(), &reply), 0);
  EXPECT_EQ(error->errorCode(), -10021);
  EXPECT_EQ(request_->handleRequestData(request_.get(), info_.get(), error.get(), &reply), 1);
}

TEST_F(YoutubeUpload, AnAnswerWithoutTheVideoIsReportedWithTheTransportsCode) {
  NetReply reply;
  reply.resultCode = 0;
  const auto error = makeRef<BsErrorInfo>();
  EXPECT_EQ(request_->parseEnvelope(info_.get(), R"({"id":"a"})", error.get(), &reply), 0);
  EXPECT_EQ(error->errorCode(), 0);
  EXPECT_STREQ(error->errorMessage(), R"({"id":"a"})");
}

TEST_F(YoutubeUpload, AnIdOfAWrongTypeIsMissing) {
  NetReply reply;
  reply.resultCode = 0;
  const auto error = makeRef<BsErrorInfo>();
  EXPECT_EQ(request_->parseEnvelope(info_.get(), R"({"kind":1,"id":[2]})", error.get(), &reply), 0);
}

TEST_F(YoutubeUpload, AFinishedUploadKeepsACopyOfItsRecord) {
  NetReply reply;
  const auto error = makeRef<BsErrorInfo>();
  info_->setCharKeyConfig("upload_title", "kept");
  ASSERT_EQ(request_->parseEnvelope(info_.get(), goodAnswer, error.get(), &reply), 1);
  EXPECT_EQ(request_->handleRequestData(request_.get(), info_.get(), error.get(), &reply), 0);
  EXPECT_EQ(request_->replyInfo()->infoType(), 405);
  EXPECT_STREQ(request_->replyInfo()->charKeyConfig("upload_title"), "kept");
}

TEST_F(YoutubeUpload, TheStartOfTheChunksIsLogged) {
  useFile(7);
  const ScopedRecordingLogger log;
  replySession();
  network_.reply(200, goodAnswer);
  run();
  const auto lines = log->linesWith("upload, " + path_);
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].text, "upload, " + path_ + ", file size:7, chunk size: 2097152");
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthYoutubeUploadFileRequest::Request");
  const auto session = log->linesWith(std::string("ExternlMediaAuthYoutubeUpload:") + uploadUrl +
                                      "?part=snippet,status,recordingDetails&alt=json&uploadType=resumable");
  ASSERT_THAT(session, SizeIs(1));
  EXPECT_EQ(session[0].severity, 4);
  EXPECT_EQ(session[0].function, lines[0].function);
}

TEST_F(YoutubeUpload, NoTokenReachesTheLog) {
  useFile(1);
  manager_->onAccessToken = [] { return std::string("very-secret"); };
  const ScopedRecordingLogger log;
  replySession();
  network_.reply(401, "denied");
  run();
  EXPECT_THAT(log->linesWith("very-secret"), IsEmpty());
}
}  // namespace
