// Uploads to TikTok and to Douyin whose file changes or bears an odd name, and whose transfers end at any
// moment.
#include "boundary/transfers/UploadAbuseFixture.h"
#include "support/Seed.h"
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace KBL;
using sandbox::Fault;
using sandbox::Route;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

TEST_F(ChangingFile, ThatShrinksEndsTheTransferAsAReadFailure) {
  const std::string path = makeFile(someMebi);
  const auto transfer = uploadAndChange(path, [&] { std::filesystem::resize_file(path, 100); });
  ASSERT_TRUE(events_.waitFor(12));
  ASSERT_TRUE(waitForEnds());
  EXPECT_THAT(events_.events().back(),
              IsEvent(12, 12, "200026,the file of the form field \"video\" cannot be read"));
  EXPECT_EQ(events_.count(8), 0U);
  EXPECT_THAT(sandbox_.uploads(), IsEmpty());
}

TEST_F(ChangingFile, ThatGrowsArrivesAsItWasMeasured) {
  const std::string path = makeFile(someMebi);
  const auto transfer = uploadAndChange(path, [&] { std::filesystem::resize_file(path, 2 * someMebi); });
  ASSERT_TRUE(events_.waitFor(8));
  EXPECT_EQ(sandbox_.uploads().at(0).sha256, sha256(contents_));
}

INSTANTIATE_TEST_SUITE_P(Platforms, UploadAbuse, testing::Values(tiktok, douyin), [](const auto& test) {
  return std::string(test.param.transfer == tiktok.transfer ? "Tiktok" : "Douyin");
});

TEST_P(UploadAbuse, AFileThatIsDeletedBeforeTheUploadsOwnCallIsMissing) {
  const std::string path = makeFile(10);
  const auto stall = sandbox_.orderFault(Route::consume, Fault::stallAnswerAfter(0));
  const auto transfer = makeUploadOf(path);
  transfer->Start();
  ASSERT_TRUE(sandbox_.waitForFaults(stall, 1, generousLimit));
  std::filesystem::remove(path);
  sandbox_.releaseStalls();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events(), ElementsAre(IsEvent(12, 12, "-10023," + path + ", not exist")));
}

TEST_P(UploadAbuse, NamesWithLettersOfAllKindsArrive) {
  expectToArrive({"a 'b'; c.mp4", "\xE6\x97\xA5\xE6\x9C\xAC.mp4", "%22 a=b&c.mp4"});
}

TEST_P(UploadAbuse, TwoUploadsAtOnceArriveAndTheLastTransferHearsOfBoth) {
  EventLog lastLog;
  const auto account = std::make_unique<char[]>(sizeof(hostAccountRecord) + 4096);
  const auto first = makeUploadOf(makeFile(9'000'000, "one.mp4"));
  const std::string firstHash = sha256(contents_);
  const auto last = makeUpload(lastLog, makeFile(9'000'001, "two.mp4"), GetParam().transfer);
  ASSERT_EQ(first->Query(KBL::queryUserInfo, account.get()), 0);
  ASSERT_EQ(last->Query(KBL::queryUserInfo, account.get()), 0);

  first->Start();
  last->Start();

  ASSERT_TRUE(lastLog.waitFor(8, isDouyin() ? 4 : 2));
  EXPECT_THAT(events_.events(), IsEmpty());
  std::vector<std::string> hashes;
  for (const auto& upload : sandbox_.uploads()) hashes.push_back(upload.sha256);
  EXPECT_THAT(hashes, testing::UnorderedElementsAre(firstHash, sha256(contents_)));
}

TEST_P(UploadAbuse, AReleaseInsideTheFirstEventOfEachKindIsTheLastThatIsHeard) {
  for (const int kind : {7, 8, 12}) {
    EventLog events;
    if (kind == 12) {
      sandbox_.orderFault(isDouyin() ? Route::douyinUploadInit : Route::tiktokUpload, Fault::status(500));
    }
    std::size_t before = 0;
    events.inside = [&](const UploadEvent& event) {
      if (event.event != kind) return;
      EXPECT_EQ(before, 0U);
      before = events.events().size();
      event.transfer->Release();
    };
    const std::size_t ended = endedRequests();
    IExternlMediaTransfer* const transfer =
        makeUpload(events, makeFile(9'000'000), GetParam().transfer).leak();
    transfer->Start();
    ASSERT_TRUE(waitForEnds(ended + 1)) << kind;
    EXPECT_EQ(events.events().size(), before) << kind;
    EXPECT_GE(before, 1U) << kind;
  }
}

TEST_P(UploadAbuse, AManagerReleasedInsideAnEventEndsTheUploadWithoutItsClosingDelivery) {
  std::atomic<bool> released{false};
  events_.inside = [&](const UploadEvent& event) {
    if (event.event == 7 && !released.exchange(true)) manager_->release();
  };
  const auto transfer = makeUploadOf(makeFile(40'000'000));
  transfer->Start();
  ASSERT_TRUE(waitForEnds());
  EXPECT_TRUE(released);
  EXPECT_EQ(events_.count(12), 0U);
  // Douyin's completing call is made all the same, and delivers on its own.
  EXPECT_EQ(events_.count(8), isDouyin() ? 1U : 0U);
}

TEST_P(UploadAbuse, ATransferStartsAgainInsideItsOwnEnd) {
  const std::string path = makeFile(100);
  const auto transfer = makeUploadOf(path);
  std::atomic<int> starts{1};
  events_.inside = [&](const UploadEvent& event) {
    if (event.event == 8 && starts.fetch_add(1) < 3) {
      EXPECT_EQ(event.transfer->Start(), 0);
    }
  };
  transfer->Start();
  ASSERT_TRUE(waitForEnds(3));
  EXPECT_TRUE(events_.waitFor(8, isDouyin() ? 6 : 3));
  EXPECT_THAT(sandbox_.uploads(), SizeIs(3));
}

TEST_P(UploadAbuse, ASignOutInsideAnEventLetsTheUploadThatRunsGoOn) {
  const auto transfer = makeUploadOf(makeFile(9'000'000));
  std::atomic<bool> signedOut{false};
  events_.inside = [&](const UploadEvent& event) {
    if (event.event == 7 && !signedOut.exchange(true)) {
      EXPECT_EQ(event.transfer->Query(KBL::queryLogout), 0);
    }
  };
  transfer->Start();
  ASSERT_TRUE(waitForFinish(events_));
  EXPECT_EQ(sandbox_.uploads().at(0).sha256, sha256(contents_));
  EXPECT_EQ(events_.count(12), 0U);
}

TEST_P(UploadAbuse, StopsAndReleasesAtAnyMomentEndTheUpload) {
  auto random = seededGenerator();
  const std::string path = makeFile(5'000'000);
  std::vector<std::unique_ptr<EventLog>> logs;
  std::vector<RefPtr<IExternlMediaTransfer>> kept;
  constexpr std::size_t rounds = 30;
  for (std::size_t round = 0; round < rounds; ++round) {
    logs.push_back(std::make_unique<EventLog>());
    auto transfer = makeUpload(*logs.back(), path, GetParam().transfer);
    transfer->Start();
    const auto moment = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 40000);
    while (std::chrono::steady_clock::now() < moment) std::this_thread::yield();
    transfer->Stop();
    kept.push_back(round % 2 == 0 ? nullptr : std::move(transfer));
  }
  EXPECT_TRUE(waitForEnds(rounds));
}
}  // namespace
