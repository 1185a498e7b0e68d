// Whole uploads through the exports against the sandbox: what arrives, and how each ends for the host.
#include "boundary/transfers/UploadFixture.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

using namespace KBL;
using sandbox::Fault;
using sandbox::Route;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {
class UploadFlow : public UploadFixture {
 protected:
  /// An upload of a file of that size arrives whole though requests of its chunks, from the given one on,
  /// meet the fault so many times.
  void expectWholeThough(const Fault& fault, unsigned request, unsigned times, std::uint64_t size) {
    const auto ordered = sandbox_.orderFault(Route::youtubeUploadChunk, fault, request, times);
    const auto transfer = makeUpload(events_, makeFile(size));
    transfer->Start();
    ASSERT_TRUE(events_.waitFor(8));
    EXPECT_EQ(sandbox_.faultsDelivered(ordered), times);
    EXPECT_EQ(sandbox_.uploads()[0].sha256, sha256(contents_));
  }
};

// --- Good uploads

class UploadFlowSizes : public UploadFixture, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(UploadFlowSizes, ArriveWhole) {
  const auto transfer = makeUpload(events_, makeFile(GetParam()));

  ASSERT_EQ(transfer->Start(), 0);

  ASSERT_TRUE(events_.waitFor(8));
  const auto uploads = sandbox_.uploads();
  ASSERT_THAT(uploads, SizeIs(1));
  EXPECT_TRUE(uploads[0].complete);
  EXPECT_EQ(uploads[0].receivedSize, GetParam());
  EXPECT_EQ(uploads[0].sha256, sha256(contents_));
  EXPECT_THAT(uploads[0].chunks, SizeIs((GetParam() + chunk - 1) / chunk));
  EXPECT_EQ(events_.events().back().text, "https://www.youtube.com/watch?v=" + uploads[0].mediaId);
  EXPECT_EQ(events_.count(12), 0U);
}

INSTANTIATE_TEST_SUITE_P(Bytes, UploadFlowSizes,
                         testing::Values(1, 2097151, 2097152, 2097153, 4194304, 9000001));

TEST_F(UploadFlow, TheHostHearsProgressThenA100TwiceThenTheAddress) {
  const auto transfer = makeUpload(events_, makeFile(4 * chunk));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8));
  const std::string address = "https://www.youtube.com/watch?v=" + sandbox_.uploads()[0].mediaId;
  EXPECT_THAT(events_.events(),
              ElementsAre(IsEvent(7, 24, "(null)"), IsEvent(7, 49, "(null)"), IsEvent(7, 74, "(null)"),
                          IsEvent(7, 99, "(null)"), IsEvent(7, 100, "(null)"), IsEvent(7, 100, "(null)"),
                          IsEvent(8, 0, address)));
  for (const UploadEvent& event : events_.events()) EXPECT_EQ(event.transfer, transfer.get());
}

TEST_F(UploadFlow, TheMetadataArrives) {
  const auto transfer = makeUpload(events_, makeFile(1));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8));
  EXPECT_THAT(sandbox_.uploads()[0].metadata, testing::HasSubstr(R"("title":"A day in Z)"));
  EXPECT_EQ(sandbox_.uploads()[0].mediaType, "application/octet-stream");
}

TEST_F(UploadFlow, TheChainAsksForCredentialsAndEntitlementFirst) {
  const auto transfer = makeUpload(events_, makeFile(1));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8));
  EXPECT_THAT(routes(), ElementsAre(Route::clientCredentials, Route::consume, Route::youtubeUploadOpen,
                                    Route::youtubeUploadChunk));
}

TEST_F(UploadFlow, APathOutsideAsciiIsUploaded) {
  const auto transfer = makeUpload(events_, makeFile(1000, "日本 Größe.mp4"));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8));
  EXPECT_EQ(sandbox_.uploads()[0].sha256, sha256(contents_));
}

TEST_F(UploadFlow, ASecondRecordLeavesTheRunningUploadAlone) {
  const std::string second = makeFile(5, "second.mp4");
  const auto transfer = makeUpload(events_, makeFile(3 * chunk, "first.mp4"));
  const std::string first = contents_;
  events_.inside = [&](const UploadEvent& event) {
    if (event.event == 7) transfer->Command(KBL::commandSetRecord, makeUploadJob(second).get());
  };
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8));
  EXPECT_EQ(sandbox_.uploads()[0].sha256, sha256(first));
}

TEST_F(UploadFlow, ATokenThatIsRefreshedBetweenChunksIsUsedFromTheNextOne) {
  const auto transfer = makeUpload(events_, makeFile(3 * chunk));
  const std::string fresh = newToken();
  events_.inside = [&](const UploadEvent& event) {
    if (event.event == 7 && event.value == 32) manager_->replaceToken(fresh);
  };
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8));
  const auto chunks = sandbox_.uploads()[0].chunks;
  ASSERT_THAT(chunks, SizeIs(3));
  EXPECT_NE(chunks[0].token, fresh);
  EXPECT_EQ(chunks[1].token, fresh);
  EXPECT_EQ(chunks[2].token, fresh);
}

TEST_F(UploadFlow, ASignOutBetweenChunksLetsTheUploadEnd) {
  const auto transfer = makeUpload(events_, makeFile(2 * chunk));
  events_.inside = [&](const UploadEvent& event) {
    if (event.value == 49) (*manager_)->logout("");
  };
  transfer->Start();
  EXPECT_TRUE(events_.waitFor(8));
}

class LowerCaseLocation : public UploadFixture {
 protected:
  LowerCaseLocation() : UploadFixture(options()) {}
  static sandbox::SandboxOptions options() {
    sandbox::SandboxOptions options;
    options.locationHeader = "location";
    return options;
  }
};

TEST_F(LowerCaseLocation, OpensTheSession) {
  const auto transfer = makeUpload(events_, makeFile(1));
  transfer->Start();
  EXPECT_TRUE(events_.waitFor(8));
}

// --- Stops

TEST_F(UploadFlow, AStopBetweenChunksIsSilent) {
  const auto transfer = makeUpload(events_, makeFile(5 * chunk));
  events_.inside = [&](const UploadEvent& event) {
    if (event.event != 7) return;
    EXPECT_EQ(transfer->Stop(), 0);
  };
  transfer->Start();
  ASSERT_TRUE(waitForEnds());
  EXPECT_FALSE(sandbox_.uploads()[0].complete);
  EXPECT_THAT(sandbox_.uploads()[0].chunks, SizeIs(1));
  EXPECT_EQ(events_.count(8) + events_.count(12), 0U);
  for (const UploadEvent& event : events_.events()) EXPECT_EQ(event.value, 19);
}

TEST_F(UploadFlow, ATransferThatWasStoppedUploadsAgain) {
  const auto transfer = makeUpload(events_, makeFile(2 * chunk));
  events_.inside = [&, stopped = false](const UploadEvent&) mutable {
    if (!std::exchange(stopped, true)) transfer->Stop();
  };
  transfer->Start();
  ASSERT_TRUE(waitForEnds());
  transfer->Start();
  EXPECT_TRUE(events_.waitFor(8));
  EXPECT_TRUE(sandbox_.uploads().at(1).complete);
}

TEST_F(UploadFlow, AManagerReleasedDuringAnUploadStopsIt) {
  const auto transfer = makeUpload(events_, makeFile(5 * chunk));
  events_.inside = [&](const UploadEvent&) { manager_->release(); };
  transfer->Start();
  ASSERT_TRUE(waitForEnds());
  EXPECT_FALSE(sandbox_.uploads()[0].complete);
  EXPECT_EQ(events_.count(8) + events_.count(12), 0U);
  EXPECT_EQ(transfer->Start(), 1);
}

// --- Failures

TEST_F(UploadFlow, AChunkRefusedThreeTimesReadsAsTheUsersCancel) {
  const auto fault = sandbox_.orderFault(Route::youtubeUploadChunk, Fault::status(500), 2, 3);
  const auto transfer = makeUpload(events_, makeFile(3 * chunk));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events().back(), IsEvent(12, 10, "-10007,User cancelled!"));
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 3U);
  EXPECT_FALSE(sandbox_.uploads()[0].complete);
}

TEST_F(UploadFlow, AChunkThatPassesAtTheThirdTryIsSentOnce) {
  expectWholeThough(Fault::status(503), 1, 2, chunk + 5);
}

TEST_F(UploadFlow, AConnectionThatBreaksInTheMiddleOfAChunkIsTriedAgain) {
  expectWholeThough(Fault::resetRequestAfter(500000), 2, 1, 3 * chunk);
}

TEST_F(UploadFlow, AnAnswerThatIsLostIsNoLostByte) {
  expectWholeThough(Fault::resetAnswerAfter(5), 1, 1, 2 * chunk);
}

TEST_F(UploadFlow, ALastTryThatBrokeReportsTheTransport) {
  const auto fault = sandbox_.orderFault(Route::youtubeUploadChunk, Fault::resetAtOnce(), 1, 0);
  const auto transfer = makeUpload(events_, makeFile(1));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events().back().text, testing::StartsWith("2000"));
  EXPECT_GE(sandbox_.faultsDelivered(fault), 3U);  // the client may try a reused connection twice
}

TEST_F(UploadFlow, ARefusedSessionIsReportedWithStatusAndBody) {
  const auto fault = sandbox_.orderFault(Route::youtubeUploadOpen, Fault::status(503, "try later"));
  const auto transfer = makeUpload(events_, makeFile(1));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events(), ElementsAre(IsEvent(12, 10, "503,try later")));
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
  EXPECT_EQ(sandbox_.requestCount(Route::youtubeUploadOpen), 1U);
}

TEST_F(UploadFlow, ASessionThatCannotBeReachedIsReported) {
  const auto fault = sandbox_.orderFault(Route::youtubeUploadOpen, Fault::resetAtOnce());
  const auto transfer = makeUpload(events_, makeFile(1));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events().back().text, testing::StartsWith("2000"));
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
}

TEST_F(UploadFlow, ASessionWithoutAnAddressEndsInSilence) {
  const auto fault = sandbox_.orderFault(Route::youtubeUploadOpen, Fault::status(200));
  const auto transfer = makeUpload(events_, makeFile(1));
  transfer->Start();
  ASSERT_TRUE(waitForEnds());
  EXPECT_THAT(events_.events(), IsEmpty());
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
}

TEST_F(UploadFlow, ALastAnswerWithoutAnIdEndsWithoutAFinish) {
  const auto fault = sandbox_.orderFault(Route::youtubeUploadChunk, Fault::body("{}"), 2);
  const auto transfer = makeUpload(events_, makeFile(2 * chunk));
  transfer->Start();
  ASSERT_TRUE(waitForEnds());
  EXPECT_EQ(events_.count(8) + events_.count(12), 0U);
  EXPECT_EQ(events_.events().back().value, 99);
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
}

/// The service's Range is not read: the next chunk begins where the file goes on, which leaves a gap there.
TEST_F(UploadFlow, AChunkThatCountsInPartIsFollowedByTheNextAndEndsTheUpload) {
  const auto fault = sandbox_.orderFault(Route::youtubeUploadChunk, Fault::acceptLess(chunk / 2));
  const auto transfer = makeUpload(events_, makeFile(3 * chunk));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events().back(), IsEvent(12, 10, "-10007,User cancelled!"));
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
  EXPECT_EQ(sandbox_.requestCount(Route::youtubeUploadChunk), 4U);
  EXPECT_EQ(sandbox_.uploads()[0].receivedSize, chunk / 2);
}

TEST_F(UploadFlow, ALastChunkThatCountsInPartEndsWithoutAFinish) {
  const auto fault = sandbox_.orderFault(Route::youtubeUploadChunk, Fault::acceptLess(chunk / 2), 2);
  const auto transfer = makeUpload(events_, makeFile(2 * chunk));
  transfer->Start();
  ASSERT_TRUE(waitForEnds());
  EXPECT_EQ(events_.count(8) + events_.count(12), 0U);
  EXPECT_EQ(events_.events().back().value, 99);
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
  EXPECT_FALSE(sandbox_.uploads()[0].complete);
}

TEST_F(UploadFlow, HostileAnswersToAChunkEndTheUploadInOrder) {
  std::size_t uploads = 0;
  for (const Fault& fault : {Fault::deepNesting(20000), Fault::brokenJson(), Fault::hugeBody(5'000'000),
                             Fault::body(R"({"kind":[],"id":{"a":1}})")}) {
    EventLog events;
    const auto id = sandbox_.orderFault(Route::youtubeUploadChunk, fault);
    const auto transfer = makeUpload(events, makeFile(1));
    transfer->Start();
    ASSERT_TRUE(waitForEnds(++uploads));
    EXPECT_EQ(events.count(8), 0U);
    EXPECT_EQ(sandbox_.faultsDelivered(id), 1U);
  }
}

TEST_F(UploadFlow, AFileThatShrinksIsAReadError) {
  const std::string path = makeFile(4 * chunk);
  const auto transfer = makeUpload(events_, path);
  events_.inside = [&](const UploadEvent& event) {
    if (event.event == 7) std::filesystem::resize_file(path, 100);
  };
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events().back(), IsEvent(12, 10, "-10021,read file error"));
}

}  // namespace
