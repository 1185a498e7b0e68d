// Every way in which a resumable upload ends: refused chunks, stops, files that change.
#include "uploaders/requests/YoutubeUploadFixture.h"

#include <cstdlib>
#include <ctime>

using namespace KBL;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

namespace {
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
  const std::vector<SentExchange> sent = network_.exchanges();
  for (std::size_t i = 1; i <= 3; ++i) {
    EXPECT_TRUE(sent[i].body == contents_.substr(0, mebi2));
    EXPECT_EQ(sent[i].headerCalls, sent[i - 1].headerCalls + 1);
    EXPECT_EQ(sent[i].bodyCalls, sent[i - 1].bodyCalls + 1);
  }
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
  EXPECT_THAT(time_->passedWaits(), AllOf(SizeIs(3), Each(AllOf(Ge(50), Le(999)))));
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
  EXPECT_THAT(time_->passedWaits(), SizeIs(1));
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

TEST_F(YoutubeUpload, AnEndWithoutTriesAmidTheFileIsReportedAsSuch) {
  NetReply reply;
  reply.httpCode = 200;
  EXPECT_FALSE(request_->retryUpload(nullptr, sessionUri, {}, "abc", 4, 0, info_.get(), &reply, 0));
  EXPECT_EQ(code(), -10028);
}

TEST_F(YoutubeUpload, ThePausesComeFromASeedOfTheUploadsSecond) {
  useFile(1);
  replySession();
  network_.reply(500);
  const std::time_t before = std::time(nullptr);
  run();
  const std::time_t after = std::time(nullptr);

  bool found = false;
  for (std::time_t second = before; second <= after; ++second) {
    std::srand(static_cast<unsigned>(second));
    std::vector<std::int64_t> pauses;
    for (int tries = 0; tries < 3; ++tries) pauses.push_back(std::rand() % 950 + 50);
    found = found || time_->passedWaits() == pauses;
  }
  EXPECT_TRUE(found);
}

// --- Ends of the loop

TEST_F(YoutubeUpload, AnAnswer308ToTheLastChunkIsNeitherSuccessNorError) {
  useFile(mebi2 + 1);
  replySession();
  network_.reply(308);
  run();
  EXPECT_THAT(sentRanges(), SizeIs(2));
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(text("upload_stop"), "(unset)");
  EXPECT_EQ(text("upload_video_url"), "(unset)");
  EXPECT_EQ(text("upload_progress"), "99");
}

TEST_F(YoutubeUpload, AChunkBeginsWithoutTheErrorThatTheAnswerBeforeTold) {
  useFile(2 * mebi2);
  replySession();
  network_.reply(200, R"({"error":{"code":231500,"message":"quota"}})");
  network_.reply(200, goodAnswer);
  run();
  EXPECT_THAT(deliveries_.codes(), ElementsAre(0, 0));
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(YoutubeUpload, AStopBetweenChunksEndsWithoutAnError) {
  useFile(3 * mebi2);
  replySession();
  network_.reply(308);
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) info_->setCharKeyConfig("upload_stop", "user_cancelled");
  });
  run();
  EXPECT_THAT(sentRanges(), SizeIs(1));
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(text("upload_stop"), "user_cancelled");
  EXPECT_THAT(deliveries_.progress(), ElementsAre("32"));
}

TEST_F(YoutubeUpload, AStopBeforeTheFirstChunkSendsNone) {
  useFile(1);
  replySession();
  network_.onExchange([&](const SentExchange&) { info_->setCharKeyConfig("upload_stop", "user_cancelled"); });
  run();
  EXPECT_THAT(network_.exchanges(), SizeIs(1));
  EXPECT_EQ(code(), 0);
}

TEST_F(YoutubeUpload, TheEndOfTheManagerStopsLikeTheUser) {
  useFile(3 * mebi2);
  replySession();
  network_.reply(308);
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) manager_.die();
  });
  run();
  EXPECT_THAT(sentRanges(), SizeIs(1));
  EXPECT_EQ(code(), 0);
}

TEST_F(YoutubeUpload, AStopTakesTheDelayAwayButNotTheTries) {
  useFile(1);
  replySession();
  network_.reply(500);
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) info_->setCharKeyConfig("upload_stop", "user_cancelled");
  });
  run();
  EXPECT_THAT(sentRanges(), SizeIs(3));
  EXPECT_THAT(time_->passedWaits(), IsEmpty());
  EXPECT_EQ(code(), -10007);
}

TEST_F(YoutubeUpload, AFileThatShrinksIsAReadError) {
  useFile(3 * mebi2);
  replySession();
  network_.reply(308);
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) std::filesystem::resize_file(std::filesystem::u8path(path_), 10);
  });
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
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 1) std::filesystem::resize_file(std::filesystem::u8path(path_), 100);
  });
  run();
  EXPECT_THAT(sentRanges(), ElementsAre("bytes 0-9/10"));
  EXPECT_EQ(network_.exchanges().at(1).body, contents_);
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
}  // namespace
