// Whole uploads to TikTok through the exports against the sandbox: what arrives, and how each ends.
#include "boundary/transfers/UploadFixture.h"

#include <atomic>

using namespace KBL;
using sandbox::Fault;
using sandbox::Route;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {
class TiktokFlow : public UploadFixture {
 protected:
  TiktokFlow() : UploadFixture(tiktok) {}

  /// The events up to the end tell a percentage that never falls and stays below 100.
  void expectRisingProgress(std::size_t closingEvents) const {
    const auto events = events_.events();
    ASSERT_GE(events.size(), closingEvents);
    int last = 1;
    for (std::size_t i = 0; i + closingEvents < events.size(); ++i) {
      EXPECT_EQ(events[i].event, 7);
      EXPECT_GE(events[i].value, last);
      EXPECT_LE(events[i].value, 99);
      last = events[i].value;
    }
  }
};

// --- Good uploads

class TiktokFlowSizes : public TiktokFlow, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(TiktokFlowSizes, ArriveWholeAsOneFormField) {
  const auto transfer = makeUploadOf(makeFile(GetParam(), "Größe 日本.mp4"));

  ASSERT_EQ(transfer->Start(), 0);

  ASSERT_TRUE(events_.waitFor(8));
  const auto uploads = sandbox_.uploads();
  ASSERT_THAT(uploads, SizeIs(1));
  EXPECT_TRUE(uploads[0].complete);
  EXPECT_EQ(uploads[0].service, "tiktok");
  EXPECT_EQ(uploads[0].openId, sandbox_.users().front().openId);
  EXPECT_EQ(uploads[0].fileName, "Größe 日本.mp4");
  EXPECT_EQ(uploads[0].receivedSize, GetParam());
  EXPECT_EQ(uploads[0].sha256, sha256(contents_));
  EXPECT_EQ(events_.events().back().text, uploads[0].mediaId) << "the bare share id";
  EXPECT_EQ(events_.count(12), 0U);
}

INSTANTIATE_TEST_SUITE_P(Bytes, TiktokFlowSizes, testing::Values(1, 1048576, 1048577, 9000001));

TEST_F(TiktokFlow, TheHostHearsProgressThenA100TwiceThenTheShareId) {
  const auto transfer = makeUploadOf(makeFile(3000000));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8));
  const auto events = events_.events();
  expectRisingProgress(3);
  ASSERT_GE(events.size(), 3U);
  EXPECT_THAT(std::vector<UploadEvent>(events.end() - 3, events.end()),
              ElementsAre(IsEvent(7, 100, "(null)"), IsEvent(7, 100, "(null)"),
                          IsEvent(8, 0, sandbox_.uploads()[0].mediaId)));
  for (const UploadEvent& event : events) EXPECT_EQ(event.transfer, transfer.get());
}

TEST_F(TiktokFlow, TheChainAsksForCredentialsAndEntitlementFirst) {
  const auto transfer = makeUploadOf(makeFile(1));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8));
  EXPECT_THAT(routes(), ElementsAre(Route::clientCredentials, Route::consume, Route::tiktokUpload));
}

TEST_F(TiktokFlow, TheUsersKeysJoinTheJobsAndReplaceNoneOfThem) {
  const std::string path = makeFile(1);
  const auto transfer = makeUploadOf(path);
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8));
  const auto sent = sandbox_.requests(Route::tiktokUpload).at(0);
  EXPECT_EQ(sent.parameter("open_id"), sandbox_.users().front().openId);
  EXPECT_THAT(sent.query, SizeIs(2));
  EXPECT_EQ(sandbox_.uploads()[0].fileName, "clip.mp4") << "the job's own keys are there still";
}

// --- Limits

TEST_F(TiktokFlow, AFileOneByteBelowTheLimitArrives) {
  const auto transfer = makeUploadOf(makeSparseFile(52428799));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8));
  EXPECT_EQ(sandbox_.uploads().at(0).receivedSize, 52428799U);
}

// --- Stops

TEST_F(TiktokFlow, AStopWhileBytesFlowIsAnErrorEventWithTheClientsCodeAndText) {
  sandbox_.orderFault(Route::tiktokUpload, Fault::slowRequest(65536, std::chrono::milliseconds(5)));
  const auto transfer = makeUploadOf(makeSparseFile(52428799));
  std::atomic<bool> stopped{false};
  events_.inside = [&](const UploadEvent& event) {
    if (event.event == 7 && !stopped.exchange(true)) {
      EXPECT_EQ(transfer->Stop(), 0);
    }
  };
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  ASSERT_TRUE(waitForEnds());
  EXPECT_THAT(events_.events().back(), IsEvent(12, 12, "-10007,User cancelled!"));
  EXPECT_EQ(events_.count(12), 1U);
  EXPECT_EQ(events_.count(8), 0U);
  EXPECT_THAT(sandbox_.uploads(), IsEmpty());
}

TEST_F(TiktokFlow, AStopWhileTheServerStallsEndsTheTransferToo) {
  const auto transfer = startStalledUpload(Route::tiktokUpload, 3);
  transfer->Stop();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events().back(), IsEvent(12, 12, "-10007,User cancelled!"));
}

TEST_F(TiktokFlow, AStopBeforeTheUploadsOwnCallEndsItAtItsFirstCallback) {
  const auto transfer = startStalledUpload(Route::consume, 5000000, Fault::stallAnswerAfter(0));
  transfer->Stop();
  sandbox_.releaseStalls();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events(), ElementsAre(IsEvent(12, 12, "-10007,User cancelled!")));
  EXPECT_THAT(sandbox_.uploads(), IsEmpty());
}

TEST_F(TiktokFlow, ATransferThatWasStoppedUploadsAgain) {
  const auto transfer = startStalledUpload(Route::tiktokUpload, 10);
  transfer->Stop();
  ASSERT_TRUE(events_.waitFor(12));
  transfer->Start();
  EXPECT_TRUE(events_.waitFor(8));
}

TEST_F(TiktokFlow, AManagerReleasedDuringTheTransferEndsItInSilence) {
  const auto transfer = startStalledUpload(Route::tiktokUpload, 3);
  manager_->release();
  ASSERT_TRUE(waitForEnds());
  EXPECT_EQ(events_.count(8) + events_.count(12), 0U);
}

TEST_F(TiktokFlow, ATransferReleasedDuringItsUploadEndsIt) {
  auto transfer = startStalledUpload(Route::tiktokUpload, 3);
  transfer.reset();
  ASSERT_TRUE(waitForEnds());
  EXPECT_EQ(events_.count(8) + events_.count(12), 0U);
}

// --- What the service says

TEST_F(TiktokFlow, AnExpiredTokenIsReportedWithTheServicesCode) {
  sandbox_.expireAccessTokens();
  const auto transfer = makeUploadOf(makeFile(3));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events().back(), IsEvent(12, 12, "2190008,Access token expired"));
}

TEST_F(TiktokFlow, AServerThatCannotBeReachedIsReported) {
  const auto fault = sandbox_.orderFault(Route::tiktokUpload, Fault::resetAtOnce(), 1, 0);
  const auto transfer = makeUploadOf(makeFile(1));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events().back().text, StartsWith("2000"));
  EXPECT_GE(sandbox_.faultsDelivered(fault), 1U);
}
}  // namespace
