// Whole uploads to Douyin through the exports against the sandbox: what arrives, and how each ends.
#include "boundary/transfers/UploadFixture.h"

#include <algorithm>
#include <atomic>

using namespace KBL;
using sandbox::Fault;
using sandbox::Route;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {
class DouyinFlow : public UploadFixture {
 protected:
  static constexpr std::uint64_t part = 4194304;
  DouyinFlow() : UploadFixture(douyin) {}

  /// An upload is over at its second finish.
  [[nodiscard]] bool waitForFinish() const { return events_.waitFor(8, 2); }
};

// --- Good uploads

class DouyinFlowSizes : public DouyinFlow, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(DouyinFlowSizes, ArriveWhole) {
  const auto transfer = makeUploadOf(makeFile(GetParam()));

  ASSERT_EQ(transfer->Start(), 0);

  ASSERT_TRUE(waitForFinish());
  const auto uploads = sandbox_.uploads();
  ASSERT_THAT(uploads, SizeIs(1));
  EXPECT_TRUE(uploads[0].complete);
  EXPECT_EQ(uploads[0].service, "douyin");
  EXPECT_EQ(uploads[0].openId, sandbox_.users().front().openId);
  EXPECT_EQ(uploads[0].receivedSize, GetParam());
  EXPECT_EQ(uploads[0].sha256, sha256(contents_));
  EXPECT_THAT(uploads[0].chunks, SizeIs((GetParam() + part - 1) / part));
  EXPECT_EQ(events_.count(12), 0U);
}

INSTANTIATE_TEST_SUITE_P(Bytes, DouyinFlowSizes,
                         testing::Values(1, 4194303, 4194304, 4194305, 8388608, 9000001));

TEST_F(DouyinFlow, TheHostHearsAnEmptyAddressTwice) {
  const auto transfer = makeUploadOf(makeFile(2 * part));
  transfer->Start();
  ASSERT_TRUE(waitForFinish());
  ASSERT_TRUE(waitForEnds());
  EXPECT_THAT(events_.events(),
              ElementsAre(IsEvent(7, 49, "(null)"), IsEvent(7, 99, "(null)"), IsEvent(7, 100, "(null)"),
                          IsEvent(7, 100, "(null)"), IsEvent(8, 0, ""), IsEvent(7, 100, "(null)"),
                          IsEvent(7, 100, "(null)"), IsEvent(8, 0, "")));
  for (const UploadEvent& event : events_.events()) EXPECT_EQ(event.transfer, transfer.get());
}

TEST_F(DouyinFlow, TheChainRunsItsStepsInOrder) {
  const auto transfer = makeUploadOf(makeFile(part + 1));
  transfer->Start();
  ASSERT_TRUE(waitForFinish());
  EXPECT_THAT(routes(),
              ElementsAre(Route::clientCredentials, Route::consume, Route::douyinUploadInit,
                          Route::douyinUploadPart, Route::douyinUploadPart, Route::douyinUploadComplete));
}

TEST_F(DouyinFlow, NoTokenReachesTheService) {
  const std::string token = newToken();
  manager_->replaceToken(token);
  const auto transfer = makeUploadOf(makeFile(1));
  transfer->Start();
  ASSERT_TRUE(waitForFinish());
  for (const Route route : {Route::douyinUploadInit, Route::douyinUploadPart, Route::douyinUploadComplete}) {
    const auto request = sandbox_.requests(route).at(0);
    EXPECT_EQ(request.target.find(token), std::string::npos);
    EXPECT_EQ(request.body.find(token), std::string::npos);
    EXPECT_FALSE(request.header("access-token"));
    EXPECT_FALSE(request.header("Authorization"));
    EXPECT_EQ(request.parameter("open_id"), sandbox_.users().front().openId);
  }
}

TEST_F(DouyinFlow, CompletingSendsTheLastPartsBytesAndOpeningNone) {
  const auto transfer = makeUploadOf(makeFile(part + 7));
  transfer->Start();
  ASSERT_TRUE(waitForFinish());
  EXPECT_EQ(sandbox_.requests(Route::douyinUploadInit).at(0).bodySize, 0U);
  EXPECT_EQ(sandbox_.requests(Route::douyinUploadComplete).at(0).body, contents_.substr(part));
}

// --- Limits

TEST_F(DouyinFlow, AFileOneByteBelowTheLimitIsOpened) {
  const auto refusal = sandbox_.orderFault(Route::douyinUploadInit,
                                           Fault::body(R"({"data":{"error_code":9,"description":"seen"}})"));
  const auto transfer = makeUploadOf(makeSparseFile(134217727));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events(), ElementsAre(IsEvent(12, 12, "9,seen")));
  EXPECT_EQ(sandbox_.faultsDelivered(refusal), 1U);
}

// --- Tries

TEST_F(DouyinFlow, APartThatPassesAtTheThirdTryLetsTheHostSeeAnErrorBeforeItsSuccess) {
  const auto fault = sandbox_.orderFault(
      Route::douyinUploadPart, Fault::body(R"({"data":{"error_code":2100005,"description":"busy"}})"), 2, 2);
  const auto transfer = makeUploadOf(makeFile(2 * part));
  transfer->Start();
  ASSERT_TRUE(waitForFinish());
  const auto events = events_.events();
  ASSERT_GE(events.size(), 6U);
  EXPECT_THAT(std::vector<UploadEvent>(events.begin(), events.begin() + 6),
              ElementsAre(IsEvent(7, 49, "(null)"), IsEvent(7, 99, "(null)"), IsEvent(7, 99, "(null)"),
                          IsEvent(12, 12, "2100005,busy"), IsEvent(7, 99, "(null)"),
                          IsEvent(12, 12, "2100005,busy")));
  EXPECT_EQ(events_.count(12), 2U);
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 2U);
  EXPECT_EQ(sandbox_.uploads()[0].sha256, sha256(contents_));
}

TEST_F(DouyinFlow, APartThatFailedAllItsTriesIsReportedThenCompletedThenFinished) {
  const auto fault = sandbox_.orderFault(
      Route::douyinUploadPart, Fault::body(R"({"data":{"error_code":2100005,"description":"no"}})"), 2, 3);
  const auto transfer = makeUploadOf(makeFile(3 * part));
  transfer->Start();
  ASSERT_TRUE(waitForFinish());
  std::vector<std::string> errors;
  for (const UploadEvent& event : events_.events()) {
    if (event.event == 12) errors.push_back(event.text);
  }
  EXPECT_THAT(errors, ElementsAre("2100005,no", "2100005,no", "-10007,User cancelled!"));
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 3U);
  EXPECT_TRUE(sandbox_.uploads()[0].complete);
  EXPECT_EQ(sandbox_.uploads()[0].receivedSize, part);
}

TEST_F(DouyinFlow, AnAnswerThatIsLostIsNoLostByte) {
  const auto fault = sandbox_.orderFault(Route::douyinUploadPart, Fault::resetAnswerAfter(5), 1, 1);
  const auto transfer = makeUploadOf(makeFile(2 * part));
  transfer->Start();
  ASSERT_TRUE(waitForFinish());
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
  EXPECT_EQ(sandbox_.uploads()[0].sha256, sha256(contents_));
}

// --- Stops

TEST_F(DouyinFlow, AStopBetweenPartsIsCompletedAndReportedAsFinished) {
  const auto transfer = makeUploadOf(makeFile(4 * part));
  std::atomic<bool> stopped{false};
  events_.inside = [&](const UploadEvent& event) {
    if (event.event == 7 && !stopped.exchange(true)) {
      EXPECT_EQ(transfer->Stop(), 0);
    }
  };
  transfer->Start();
  ASSERT_TRUE(waitForFinish());
  ASSERT_TRUE(waitForEnds());
  EXPECT_EQ(events_.count(12), 0U);
  EXPECT_TRUE(sandbox_.uploads()[0].complete);
  EXPECT_EQ(sandbox_.uploads()[0].receivedSize, part);
}

TEST_F(DouyinFlow, AStopBeforeTheFirstPartIsReportedWithTheCompletionsError) {
  const auto transfer = startStalledUpload(Route::douyinUploadInit, 10, Fault::stallAnswerAfter(0));
  transfer->Stop();
  sandbox_.releaseStalls();
  ASSERT_TRUE(events_.waitFor(12, 2));
  EXPECT_EQ(sandbox_.requestCount(Route::douyinUploadPart), 0U);
  EXPECT_EQ(sandbox_.requestCount(Route::douyinUploadComplete), 1U);
  EXPECT_THAT(events_.events(), ElementsAre(IsEvent(12, 12, "2111003,no part has arrived"),
                                            IsEvent(12, 12, "2111003,no part has arrived")));
}

TEST_F(DouyinFlow, APartInFlightIsNotInterrupted) {
  const auto transfer = startStalledUpload(Route::douyinUploadPart, 10);
  transfer->Stop();
  EXPECT_THAT(events_.events(), IsEmpty());
  EXPECT_EQ(sandbox_.requestCount(Route::douyinUploadComplete), 0U);
  sandbox_.releaseStalls();
  ASSERT_TRUE(waitForFinish());
  EXPECT_EQ(sandbox_.uploads()[0].sha256, sha256(contents_));
}

TEST_F(DouyinFlow, AManagerReleasedDuringTheUploadSilencesTheClosingDelivery) {
  const auto transfer = startStalledUpload(Route::douyinUploadPart, 3 * part);
  manager_->release();
  sandbox_.releaseStalls();
  ASSERT_TRUE(waitForEnds());
  EXPECT_EQ(sandbox_.requestCount(Route::douyinUploadPart), 1U);
  EXPECT_TRUE(sandbox_.uploads()[0].complete);
  EXPECT_EQ(events_.count(8), 1U) << "the delivery of the completion alone";
}

// --- What the service says

TEST_F(DouyinFlow, ARefusedOpeningIsReportedAndNoPartIsSent) {
  sandbox_.orderFault(Route::douyinUploadInit,
                      Fault::body(R"({"data":{"error_code":2190008,"description":"expired"}})"));
  const auto transfer = makeUploadOf(makeFile(10));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  ASSERT_TRUE(waitForEnds());
  EXPECT_THAT(events_.events(), ElementsAre(IsEvent(12, 12, "2190008,expired")));
  EXPECT_EQ(sandbox_.requestCount(Route::douyinUploadPart), 0U);
  EXPECT_EQ(sandbox_.requestCount(Route::douyinUploadComplete), 0U);
}

TEST_F(DouyinFlow, ARefusedCompletionIsReportedTwice) {
  sandbox_.orderFault(Route::douyinUploadComplete,
                      Fault::body(R"({"data":{"error_code":2111004,"description":"over"}})"));
  const auto transfer = makeUploadOf(makeFile(10));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12, 2));
  ASSERT_TRUE(waitForEnds());
  EXPECT_THAT(events_.events(),
              ElementsAre(IsEvent(7, 99, "(null)"), IsEvent(7, 99, "(null)"), IsEvent(12, 12, "2111004,over"),
                          IsEvent(7, 99, "(null)"), IsEvent(12, 12, "2111004,over")));
}

TEST_F(DouyinFlow, AFileThatShrinksIsCompletedWithWhatCame) {
  const std::string path = makeFile(3 * part);
  const auto transfer = makeUploadOf(path);
  events_.inside = [&](const UploadEvent& event) {
    if (event.event == 7 && event.value == 32) std::filesystem::resize_file(path, 100);
  };
  transfer->Start();
  ASSERT_TRUE(waitForFinish());
  EXPECT_EQ(sandbox_.uploads()[0].receivedSize, part);
  EXPECT_EQ(events_.count(12), 0U);
}
}  // namespace
