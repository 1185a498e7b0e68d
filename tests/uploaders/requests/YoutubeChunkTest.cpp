// The chunks of a resumable upload: every byte that is sent, and the progress that is told.
#include "support/Seed.h"
#include "uploaders/requests/YoutubeUploadFixture.h"
#include <BsNet/NetworkClients.h>

#include <deque>

using namespace KBL;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {
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
  const std::vector<SentExchange> sent = network_.exchanges();
  for (std::size_t i = 1; i < sent.size(); ++i) {
    const SentExchange& chunk = sent[i];
    EXPECT_EQ(chunk.url, sessionUri);
    EXPECT_EQ(chunk.method, httpPut);
    EXPECT_EQ(chunk.progress, nullptr);
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
  EXPECT_EQ(deliveries_.progress().back(), "99");
  EXPECT_THAT(time_->passedWaits(), IsEmpty());
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
  EXPECT_THAT(time_->passedWaits(), IsEmpty());
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
  for (const SentExchange& exchange : network_.exchanges())
    bearers.push_back(exchange.header("Authorization"));
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
  EXPECT_EQ(network_.exchanges().at(2).header("Authorization"), "Bearer short");
}

TEST_F(YoutubeUpload, ATokenThatVanishesLeavesTheFormerOneInUse) {
  useFile(2 * mebi2);
  replySession();
  network_.reply(308);
  network_.reply(200, goodAnswer);
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) manager_->onAccessToken = [] { return std::string(); };
  });
  run();
  EXPECT_EQ(network_.exchanges().at(2).header("Authorization"), "Bearer token-1");
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(YoutubeUpload, ALongTokenTravelsWhole) {
  useFile(1);
  manager_->onAccessToken = [] { return std::string(8192, 't'); };
  replySession();
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.exchanges().at(1).header("Authorization"), "Bearer " + std::string(8192, 't'));
}

// --- Progress

TEST_F(YoutubeUpload, ProgressRunsOnePointBehindTheBytes) {
  useFile(4 * mebi2);
  replySession();
  for (int i = 0; i < 3; ++i) network_.reply(308);
  network_.reply(200, goodAnswer);
  run();
  EXPECT_THAT(deliveries_.progress(), ElementsAre("24", "49", "74", "99"));
  EXPECT_THAT(deliveries_.codes(), Each(0));
}

TEST_F(YoutubeUpload, TheFirstOfAHundredChunksReads0) {
  const std::string chunk(mebi2, 'c');
  NetReply reply;
  network_.reply(308);
  const auto shownAfter = [&](std::uint64_t chunks) {
    const OwnedNetworkClient client(makeNetworkClient());
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
  const OwnedNetworkClient client(makeNetworkClient());
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
  const OwnedNetworkClient client(makeNetworkClient());
  request_->retryUpload(client.get(), sessionUri, {}, "x", 1000000, 0, info_.get(), &reply, 3);
  EXPECT_EQ(text("upload_progress"), "0");
}

TEST_F(YoutubeUpload, ProgressIsRoundedInSinglePrecision) {
  NetReply reply;
  network_.reply(308);
  const OwnedNetworkClient client(makeNetworkClient());
  const auto shownAfter = [&](std::uint64_t sent, std::uint64_t fileSize) {
    request_->retryUpload(client.get(), sessionUri, {}, "x", fileSize, sent - 1, info_.get(), &reply, 3);
    return text("upload_progress");
  };
  EXPECT_EQ(shownAfter(107374182, 5368709120), "1");    // a little less than two hundredths
  EXPECT_EQ(shownAfter(3000000021, 5000000035), "58");  // three fifths
}
}  // namespace
