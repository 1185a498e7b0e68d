// Transfers that end while their uploads run, and many of them at once.
#include "boundary/transfers/UploadFixture.h"
#include "support/LastRelease.h"
#include "support/Seed.h"
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace KBL;
using sandbox::Fault;
using sandbox::Route;
using testing::IsEmpty;

namespace {
using UploadLifetime = UploadFixture;

// --- The last Release

struct ReleaseCase {
  const char* name;
  int event;
  int value;
  bool failing;
};

class ReleaseInsideItsCallback : public UploadFixture, public testing::WithParamInterface<ReleaseCase> {};

TEST_P(ReleaseInsideItsCallback, EndsTheTransferAndItsEvents) {
  LastRelease protocol;
  IExternlMediaTransfer* const transfer = makeUpload(events_, makeFile(3 * chunk)).leak();
  transfer->SetProtocol(&protocol);
  if (GetParam().failing) sandbox_.orderFault(Route::youtubeUploadChunk, Fault::status(500), 1, 0);
  std::atomic<std::size_t> eventsBefore{0};
  events_.inside = [&](const UploadEvent& event) {
    if (event.event != GetParam().event || event.value != GetParam().value) return;
    ASSERT_EQ(eventsBefore, 0U) << "an event after the last Release";
    eventsBefore = events_.events().size();
    event.transfer->Release();
  };

  transfer->Start();

  ASSERT_TRUE(waitUntil([&] { return protocol.calls == 1; }));
  ASSERT_TRUE(waitForEnds());
  EXPECT_EQ(events_.events().size(), eventsBefore);
  EXPECT_EQ(protocol.calls, 1);
}

INSTANTIATE_TEST_SUITE_P(Events, ReleaseInsideItsCallback,
                         testing::Values(ReleaseCase{"FirstProgress", 7, 32, false},
                                         ReleaseCase{"LastProgress", 7, 99, false},
                                         ReleaseCase{"Full", 7, 100, false},
                                         ReleaseCase{"Finished", 8, 0, false},
                                         ReleaseCase{"Error", 12, 10, true}),
                         [](const auto& test) { return test.param.name; });

TEST_F(UploadLifetime, TheLastReleaseWaitsForTheEventThatRuns) {
  const std::string path = makeFile(1);
  std::atomic<bool> inCall{false};
  std::atomic<bool> returned{false};
  std::atomic<bool> left{false};
  void* seen = nullptr;
  IExternlMediaTransfer* const transfer = makeUpload(events_, path).leak();
  events_.inside = [&](const UploadEvent& event) {
    if (inCall.exchange(true)) return;
    EXPECT_FALSE(waitUntil([&] { return returned.load(); }, std::chrono::milliseconds(200)));
    EXPECT_EQ(event.transfer->Query(KBL::queryContext, &seen), 0);
    left = true;
  };
  transfer->Start();
  ASSERT_TRUE(waitUntil([&] { return inCall.load(); }));
  EXPECT_EQ(transfer->Release(), 0);
  EXPECT_TRUE(left);
  returned = true;
  ASSERT_TRUE(waitForEnds());
  EXPECT_EQ(seen, &events_);
  EXPECT_EQ(events_.events().size(), 1U);
}

TEST_F(UploadLifetime, AReleaseStopsTheUploadBetweenChunks) {
  auto transfer = makeUpload(events_, makeFile(6 * chunk));
  const auto stall = sandbox_.orderFault(Route::youtubeUploadChunk, Fault::stallAnswerAfter(0), 2);
  transfer->Start();
  ASSERT_TRUE(sandbox_.waitForFaults(stall, 1, generousLimit));
  transfer.reset();
  sandbox_.releaseStalls();
  ASSERT_TRUE(waitForEnds());
  EXPECT_FALSE(sandbox_.uploads()[0].complete);
  EXPECT_EQ(sandbox_.uploads()[0].chunks.size(), 2U);
  EXPECT_EQ(events_.events().size(), 1U);
}

TEST_F(UploadLifetime, ReleasesAtAnyMomentLeaveNothingBehind) {
  auto random = seededGenerator();
  const std::string path = makeFile(chunk + 100);
  std::vector<std::unique_ptr<EventLog>> logs;
  constexpr std::size_t rounds = 25;
  for (std::size_t round = 0; round < rounds; ++round) {
    logs.push_back(std::make_unique<EventLog>());
    logs.back()->inside = [](const UploadEvent& event) {
      void* context = nullptr;
      EXPECT_EQ(event.transfer->Query(KBL::queryContext, &context), 0);
      EXPECT_NE(context, nullptr);
    };
    auto transfer = makeUpload(*logs.back(), path);
    transfer->Start();
    const auto moment = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 30000);
    while (std::chrono::steady_clock::now() < moment) std::this_thread::yield();
    transfer.reset();
  }
  EXPECT_TRUE(waitForEnds(rounds));
}

TEST_F(UploadLifetime, AManagerAndATransferReleasedTogetherLeaveNothingBehind) {
  auto transfer = makeUpload(events_, makeFile(6 * chunk));
  std::atomic<bool> running{false};
  events_.inside = [&](const UploadEvent&) { running = true; };
  transfer->Start();
  ASSERT_TRUE(waitUntil([&] { return running.load(); }));
  std::thread other([&] { manager_->release(); });
  transfer.reset();
  other.join();
  EXPECT_TRUE(waitForEnds());
}

// --- Several transfers of one platform

/// Makes the transfer's proxy without an upload.
void makeProxyOf(IExternlMediaTransfer& transfer) {
  const auto account = std::make_unique<char[]>(sizeof(hostAccountRecord) + 4096);
  ASSERT_EQ(transfer.Query(KBL::queryUserInfo, account.get()), 0);
}

TEST_F(UploadLifetime, OnlyTheTransferWhoseProxyWasMadeLastHears) {
  EventLog lastLog;
  const auto first = makeUpload(events_, makeFile(10));
  const auto last = makeUpload(lastLog, makeFile(10));
  makeProxyOf(*first);
  makeProxyOf(*last);
  first->Start();
  ASSERT_TRUE(lastLog.waitFor(8));
  EXPECT_THAT(events_.events(), IsEmpty());
  EXPECT_EQ(lastLog.events().back().transfer, last.get());
}

TEST_F(UploadLifetime, TheEndOfTheLastTransferSilencesTheOthers) {
  EventLog lastLog;
  const auto first = makeUpload(events_, makeFile(10));
  auto last = makeUpload(lastLog, makeFile(10));
  makeProxyOf(*first);
  makeProxyOf(*last);
  last.reset();
  first->Start();
  ASSERT_TRUE(sandbox_.waitForUploads(1, generousLimit));
  ASSERT_TRUE(waitForEnds());
  EXPECT_THAT(events_.events(), IsEmpty());
  EXPECT_THAT(lastLog.events(), IsEmpty());
}

TEST_F(UploadLifetime, AHundredUploadsAtOnceArriveAndAllEventsGoToTheLast) {
  constexpr std::size_t uploads = 100;
  const std::string path = makeFile(70000);
  EventLog lastLog;
  std::vector<RefPtr<IExternlMediaTransfer>> transfers;
  for (std::size_t i = 0; i < uploads; ++i) {
    transfers.push_back(makeUpload(i + 1 == uploads ? lastLog : events_, path));
    makeProxyOf(*transfers.back());
  }

  for (const auto& transfer : transfers) ASSERT_EQ(transfer->Start(), 0);

  ASSERT_TRUE(sandbox_.waitForUploads(uploads, 4 * generousLimit));
  ASSERT_TRUE(lastLog.waitFor(8, uploads));
  for (const auto& upload : sandbox_.uploads()) {
    EXPECT_TRUE(upload.complete);
    EXPECT_EQ(upload.receivedSize, 70000U);
  }
  EXPECT_EQ(sandbox_.uploads().size(), uploads);
  EXPECT_THAT(events_.events(), IsEmpty());
  for (const UploadEvent& event : lastLog.events()) ASSERT_EQ(event.transfer, transfers.back().get());
}
}  // namespace
