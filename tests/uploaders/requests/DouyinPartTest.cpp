// The parts of an upload to Douyin: bytes, numbers, progress, tries and pauses.
#include "uploaders/requests/OpenIdUploadFixture.h"

#include <cstdlib>

using namespace KBL;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

namespace {
constexpr std::uint64_t partSize = 4194304;

struct PartCase {
  const char* name;
  std::uint64_t size;
  std::size_t parts;
};

class DouyinParts : public DouyinUpload, public testing::WithParamInterface<PartCase> {};

TEST_P(DouyinParts, CarryEveryByteOnceUnderNumbersFrom1WithoutGaps) {
  useFile(GetParam().size);
  replyOpened();
  replyAccepted(static_cast<int>(GetParam().parts));
  replyCompleted();

  run();

  const std::vector<SentExchange> sent = network_.exchanges();
  ASSERT_THAT(sent, SizeIs(GetParam().parts + 2));
  std::string received;
  for (std::size_t part = 1; part <= GetParam().parts; ++part) {
    EXPECT_EQ(sent[part].url, partAddress(static_cast<int>(part)));
    received += sent[part].body;
  }
  EXPECT_TRUE(received == contents_);
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_EQ(deliveries_.events().at(GetParam().parts - 1).progress, "99");
  EXPECT_THAT(time_->passedWaits(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Files, DouyinParts,
                         testing::Values(PartCase{"OneByte", 1, 1}, PartCase{"OneByteLess", partSize - 1, 1},
                                         PartCase{"OnePart", partSize, 1},
                                         PartCase{"OneByteMore", partSize + 1, 2},
                                         PartCase{"TwoParts", 2 * partSize, 2},
                                         PartCase{"ThreePartsAndABit", 3 * partSize + 10, 4}),
                         [](const auto& test) { return test.param.name; });

// --- Progress

TEST_F(DouyinUpload, ProgressRunsOnePointBehindTheBytesAndEndsAt100) {
  useFile(4 * mebi4);
  replyOpened();
  replyAccepted(4);
  replyCompleted();
  run();
  EXPECT_THAT(deliveries_.progress(), ElementsAre("24", "49", "74", "99", "100"));
  EXPECT_THAT(deliveries_.codes(), Each(0));
}

TEST_F(DouyinUpload, ProgressIsCutToWholePercentAndNeverBelow0) {
  const OwnedNetworkClient client(makeNetworkClient());
  replyAccepted();
  const auto shown = [&](std::uint64_t size, std::uint64_t offset) {
    EXPECT_TRUE(request_->retryUpload(client.get(), partUrl, 1, "x", size, offset, info_.get(), &reply_, 3));
    return text("upload_progress");
  };
  EXPECT_EQ(shown(1000, 0), "0");
  EXPECT_EQ(shown(100, 0), "0");
  EXPECT_EQ(shown(100, 1), "1");
  EXPECT_EQ(shown(1000, 28), "1");
  EXPECT_EQ(shown(134217727, 67108863), "49");
  EXPECT_EQ(shown(134217727, 134217726), "99");
  EXPECT_EQ(shown(0, 0), "0");
}

// --- Tries

TEST_F(DouyinUpload, AFailingTryMovesProgressAndTheNextOneReportsTheSame) {
  useFile(2 * mebi4);
  replyOpened();
  replyRefused();
  replyAccepted(2);
  replyCompleted();
  run();
  EXPECT_THAT(deliveries_.progress(), ElementsAre("49", "49", "99", "100"));
}

TEST_F(DouyinUpload, ASecondTryDeliversProgressWhileTheRefusalStillStands) {
  useFile(1);
  replyOpened();
  replyRefused(2100005);
  replyRefused(2100006);
  replyAccepted();
  replyCompleted();
  run();
  EXPECT_THAT(deliveries_.codes(), ElementsAre(0, 2100005, 2100006, 0));
  EXPECT_EQ(deliveries_.events().at(1).message, "no");
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(DouyinUpload, APartBeginsWithoutTheRefusalThatTheOneBeforeOvercame) {
  useFile(2 * mebi4);
  replyOpened();
  replyRefused(2100005);
  replyAccepted(2);
  replyCompleted();
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.url != partAddress(2)) {
      dynamic_cast<BsErrorInfo&>(*request_->errorInfo()).setOriginCode(static_cast<int>(sent.number));
      return;
    }
    EXPECT_EQ(code(), 0);
    EXPECT_EQ(message(), "");
    EXPECT_EQ(request_->errorInfo()->originCode(), 0);
  });
  run();
  EXPECT_THAT(deliveries_.codes(), ElementsAre(0, 2100005, 0, 0));
}

TEST_F(DouyinUpload, EveryTrySendsThePartsBytesToTheSameAddress) {
  useFile(mebi4 + 9);
  replyOpened();
  replyAccepted();
  replyRefused(1, 2);
  replyAccepted();
  replyCompleted();
  run();
  EXPECT_THAT(addresses(), ElementsAre(testing::_, partAddress(1), partAddress(2), partAddress(2),
                                       partAddress(2), completeAddress()));
  const std::vector<SentExchange> sent = network_.exchanges();
  for (std::size_t i = 2; i <= 4; ++i) {
    EXPECT_EQ(sent[i].body, contents_.substr(mebi4));
    EXPECT_EQ(sent[i].bodyCalls, static_cast<int>(i)) << "given anew for each try";
  }
}

TEST_F(DouyinUpload, APartThatFailedAllItsTriesReadsAsTheUsersCancelAndIsCompleted) {
  useFile(3 * mebi4);
  replyOpened();
  replyRefused(2100005, 3);
  replyCompleted();

  run();

  EXPECT_THAT(addresses(),
              ElementsAre(testing::_, partAddress(1), partAddress(1), partAddress(1), completeAddress()));
  EXPECT_THAT(deliveries_.codes(), ElementsAre(0, 2100005, 2100005, -10007, 0));
  const Delivered failed = deliveries_.events().at(3);
  EXPECT_EQ(failed.message, "User cancelled!");
  EXPECT_EQ(failed.stopFlag, "upload_error");
  EXPECT_EQ(failed.progress, "32");
  EXPECT_EQ(deliveries_.events().back().stopFlag, "upload_success");
  EXPECT_EQ(deliveries_.events().back().videoUrl, "");
}

TEST_F(DouyinUpload, APartThatFailedIsReportedWithTheCompletionsCodeWhereThatFailsToo) {
  useFile(1);
  replyOpened();
  replyRefused(2100005, 3);
  replyRefused(2100009);
  run();
  EXPECT_EQ(code(), 2100009);
  EXPECT_EQ(deliveries_.events().back().code, 2100009);
}

TEST_F(DouyinUpload, TheJsonAloneDecidesAboutAPartAndNotItsStatus) {
  useFile(1);
  replyOpened();
  network_.reply(500, accepted);
  replyCompleted();
  run();
  EXPECT_THAT(addresses(), SizeIs(3));
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(DouyinUpload, ABrokenTryIsRetriedLikeARefusedOneButHasNoCode) {
  useFile(1);
  replyOpened();
  network_.failure(56, "reset");
  replyAccepted();
  replyCompleted();
  run();
  EXPECT_THAT(addresses(), SizeIs(4));
  EXPECT_THAT(deliveries_.codes(), Each(0));
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(DouyinUpload, LaterTriesAreLogged) {
  useFile(mebi4 + 1);
  const ScopedRecordingLogger log;
  replyOpened();
  replyAccepted();
  replyRefused(1, 3);
  replyCompleted();
  run();
  const auto lines = log->linesWith("upload part, ");
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(lines[0].text, "upload part, 2, try: 1/3");
  EXPECT_EQ(lines[1].text, "upload part, 2, try: 2/3");
  for (const LogLine& line : lines) {
    EXPECT_EQ(line.severity, 4);
    EXPECT_EQ(line.function, "KBL::BsExternlMediaAuthDouyinUploadFileRequest::retryUpload");
    EXPECT_GT(line.line, 0);
  }
}

TEST_F(DouyinUpload, APartWithoutTriesIsReportedAsSuch) {
  EXPECT_FALSE(request_->retryUpload(nullptr, partUrl, 1, "abc", 3, 0, info_.get(), &reply_, 0));
  EXPECT_EQ(code(), -10028);
  EXPECT_EQ(message(), "Failed after 0 times try!");
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_THAT(deliveries_.codes(), ElementsAre(-10028));
}

// --- Pauses

TEST_F(DouyinUpload, AFailedTryPauses50To999Milliseconds) {
  useFile(1);
  replyOpened();
  replyRefused(1, 3);
  replyCompleted();
  run();
  // The last failed try pauses like the others, ahead of the report.
  EXPECT_THAT(time_->passedWaits(), AllOf(SizeIs(3), Each(AllOf(Ge(50), Le(999)))));
}

TEST_F(DouyinUpload, ThePausesComeFromTheProcesssGeneratorAsItStands) {
  std::srand(4711);
  const std::vector<std::int64_t> expected{std::rand() % 950 + 50, std::rand() % 950 + 50};
  useFile(1);
  replyOpened();
  replyRefused(1, 2);
  replyAccepted();
  replyCompleted();
  std::srand(4711);
  run();
  EXPECT_EQ(time_->passedWaits(), expected);
}

TEST_F(DouyinUpload, AStopTakesThePauseAwayButNotTheTries) {
  useFile(1);
  replyOpened();
  replyRefused(1, 3);
  replyCompleted();
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) stop();
  });
  run();
  EXPECT_THAT(time_->passedWaits(), IsEmpty());
  EXPECT_THAT(addresses(), SizeIs(5));
}
}  // namespace
