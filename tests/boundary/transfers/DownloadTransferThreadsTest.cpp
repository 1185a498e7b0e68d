// What a download transfer promises about its end, its stops and the threads that it is used from.
#include "boundary/transfers/DownloadTransferFixture.h"
#include "support/Flag.h"
#include "support/LastRelease.h"
#include "support/RecordingLogger.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <atomic>
#include <fstream>
#include <stdexcept>
#include <thread>

using KBL::IExternlMediaTransfer;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using DownloadTransfer = DownloadTransferTest;

constexpr const char* oneAlbum = R"({"data":[{"id":"1"}]})";
constexpr const char* twoAlbums = R"({"data":[{"id":"1"},{"id":"2"}]})";
/// What does not wait comes back within this time.
constexpr std::chrono::milliseconds soon(300);

/// An item callback's job that begins, gives the other threads some time, and ends.
class HeldCallback {
 public:
  /// Returns once `isOver`, or in a while.
  void run() {
    begun_.raise();
    (void)waitUntil([&] { return isOver.load(); }, soon);
    hasEnded = true;
  }
  [[nodiscard]] bool waitUntilBegun() { return begun_.wait(); }

  std::atomic<bool> isOver{false};  ///< to be set behind the call that has to wait for this callback
  std::atomic<bool> hasEnded{false};

 private:
  Flag begun_;
};

}  // namespace

TEST_F(DownloadTransfer, StopWaitsForTheCallbackOfAnEarlierTaskToo) {
  server.answerAlways(oneAlbum);
  std::atomic<bool> hasCommand{false};
  std::atomic<bool> hasStopped{false};
  std::atomic<bool> hasEnded{false};
  host.itemResult = [&](std::size_t) {
    transfer->Command(KBL::commandListFacebookAlbums, "SECOND", &MediaHost::onAlbum, &MediaHost::onError);
    hasCommand = true;
    // A Stop that does not wait comes back within this time.
    (void)waitUntil([&] { return hasStopped.load(); }, std::chrono::milliseconds(300));
    hasEnded = true;
    return 1;
  };
  commandAlbums("FIRST");
  transfer->Start();
  ASSERT_TRUE(waitUntil([&] { return hasCommand.load(); }));
  EXPECT_EQ(transfer->Stop(), 0);
  hasStopped = true;
  EXPECT_TRUE(hasEnded);
}

TEST_F(DownloadTransfer, StoppedInACallbackWaitsForNoCallbackOfAnEarlierTask) {
  server.answerAlways(oneAlbum);
  MediaHost second;
  std::atomic<bool> hasStopped{false};
  std::atomic<bool> hasSeenIt{false};
  second.itemResult = [&](std::size_t) {
    transfer->Stop();
    hasStopped = true;
    return 1;
  };
  host.itemResult = [&](std::size_t) {
    transfer->Command(KBL::commandSetContext, static_cast<void*>(&second));
    transfer->Command(KBL::commandListFacebookAlbums, "SECOND", &MediaHost::onAlbum, &MediaHost::onError);
    transfer->Start();
    hasSeenIt = waitUntil([&] { return hasStopped.load(); });
    return 1;
  };
  commandAlbums("FIRST");
  transfer->Start();
  ASSERT_TRUE(waitUntil([&] { return hasStopped.load(); }));
  transfer->Stop();
  EXPECT_TRUE(hasSeenIt);
  EXPECT_THAT(second.albums(), SizeIs(1));
}

TEST_F(DownloadTransfer, ReleasedWhileATaskRunsEndsItFirst) {
  server.answer([](const std::string&) { return PageReply{.body = R"({"data":[]})", .stallAfter = 3}; });
  commandAlbums();
  transfer->Start();
  ASSERT_TRUE(server.waitForRequests(1));
  transfer.reset();
  server.release();
  EXPECT_EQ(host.calls(), 0U);
}

TEST_F(DownloadTransfer, ReleasedForTheLastTimeInItsOwnCallbackEndsInPeace) {
  server.answerAlways(twoAlbums);
  std::atomic<bool> released{false};
  IExternlMediaTransfer* const raw = transfer.leak();
  host.itemResult = [&](std::size_t) {
    released = raw->Release() == 0;
    return 1;
  };
  raw->Command(KBL::commandListFacebookAlbums, "TOKEN", &MediaHost::onAlbum, &MediaHost::onError);
  raw->Start();
  ASSERT_TRUE(waitUntil([&] { return released.load(); }));
  EXPECT_EQ(host.calls(), 1U);
}

TEST_F(DownloadTransfer, ReleasedInItsCallbackWhileAStopRunsEndsInPeace) {
  server.answerAlways(twoAlbums);
  HeldCallback callback;
  IExternlMediaTransfer* const raw = transfer.leak();
  std::atomic<int> left{-1};
  host.itemResult = [&](std::size_t) {
    callback.run();
    left = raw->Release();
    return 1;
  };
  commandAlbums(*raw, "TOKEN");
  raw->Start();
  ASSERT_TRUE(callback.waitUntilBegun());
  EXPECT_EQ(raw->Stop(), 0);
  EXPECT_EQ(left, 0);
  EXPECT_EQ(host.calls(), 1U);
}

TEST_F(DownloadTransfer, ReleasedInTheErrorCallbackEndsInPeace) {
  server.answerAlways("no json");
  std::atomic<bool> released{false};
  IExternlMediaTransfer* const raw = transfer.leak();
  host.onOther = [&] { released = raw->Release() == 0; };
  raw->Command(KBL::commandListInstagramMedia, "TOKEN", &MediaHost::onMedia, &MediaHost::onError);
  raw->Start();
  ASSERT_TRUE(waitUntil([&] { return released.load(); }));
  EXPECT_EQ(host.calls(), 1U);
}

TEST_F(DownloadTransfer, ReleasedInTheProgressCallbackEndsInPeace) {
  server.answerInOrder({PageReply{.body = std::string(1000, 'x'), .stallAfter = 400}});
  std::atomic<bool> released{false};
  IExternlMediaTransfer* const raw = transfer.leak();
  host.onOther = [&] { released = raw->Release() == 0; };
  raw->Command(KBL::commandDownloadFile, server.url().c_str(), directory.file("f").c_str(),
               &MediaHost::onError, &MediaHost::onProgress);
  raw->Start();
  ASSERT_TRUE(waitUntil([&] { return released.load(); }));
  EXPECT_EQ(host.calls(), 1U);
}

TEST_F(DownloadTransfer, KeepsEarlierTasksUntilItsEnd) {
  server.answerAlways(R"({"data":[]})");
  for (int round = 0; round < 50; ++round) {
    ASSERT_EQ(commandAlbums(), 0);
    transfer->Start();
  }
  ASSERT_TRUE(host.waitForClosingAlbum());
}

TEST_F(DownloadTransfer, SurvivesStartsAndStopsAtEveryMoment) {
  server.answer([](const std::string&) { return PageReply{.endless = true}; });
  for (int round = 0; round < 100; ++round) {
    transfer->Command(KBL::commandDownloadFile, server.url().c_str(), directory.file("f").c_str(),
                      &MediaHost::onError, &MediaHost::onProgress);
    transfer->Start();
    if (round % 3 == 0) std::this_thread::yield();
    transfer->Stop();
  }
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(DownloadTransfer, StopHoldsAgainstACommandThatACallbackGivesMeanwhile) {
  // A list that would go on for ever.
  server.answerAlways(R"({"data":[{"id":"1"}],"paging":{"next":")" + server.url() + R"(/graph/again"}})");
  MediaHost second;
  HeldCallback callback;
  host.itemResult = [&](std::size_t) {
    callback.run();
    transfer->Command(KBL::commandSetContext, static_cast<void*>(&second));
    EXPECT_EQ(commandAlbums("SECOND"), 0);
    EXPECT_EQ(transfer->Start(), 4);
    return 1;
  };
  commandAlbums("FIRST");
  transfer->Start();
  ASSERT_TRUE(callback.waitUntilBegun());
  EXPECT_EQ(transfer->Stop(), 0);
  EXPECT_TRUE(callback.hasEnded);
  const std::size_t before = second.calls();
  EXPECT_FALSE(waitUntil([&] { return second.calls() > before; }, soon));
}

TEST_F(DownloadTransfer, StartedBehindAStopRunsTheCommandThatCameMeanwhile) {
  server.answerAlways(oneAlbum);
  MediaHost second;
  HeldCallback callback;
  host.itemResult = [&](std::size_t) {
    callback.run();
    transfer->Command(KBL::commandSetContext, static_cast<void*>(&second));
    commandAlbums("SECOND");
    return 1;
  };
  commandAlbums("FIRST");
  transfer->Start();
  ASSERT_TRUE(callback.waitUntilBegun());
  transfer->Stop();
  EXPECT_EQ(transfer->Start(), 4);
  EXPECT_TRUE(second.waitForClosingAlbum());
  transfer->Stop();
}

TEST_F(DownloadTransfer, ANewCommandWaitsForTheCallbackOfTheTaskBeforeIt) {
  server.answerAlways(oneAlbum);
  HeldCallback callback;
  host.itemResult = [&](std::size_t) {
    callback.run();
    return 1;
  };
  commandAlbums("FIRST");
  transfer->Start();
  ASSERT_TRUE(callback.waitUntilBegun());
  EXPECT_EQ(commandAlbums("SECOND"), 0);
  callback.isOver = true;
  EXPECT_TRUE(callback.hasEnded);
}

TEST_F(DownloadTransfer, TheLastReleaseWaitsForACallbackThatRuns) {
  server.answerAlways(twoAlbums);
  HeldCallback callback;
  host.itemResult = [&](std::size_t) {
    callback.run();
    return 1;
  };
  commandAlbums();
  transfer->Start();
  ASSERT_TRUE(callback.waitUntilBegun());
  EXPECT_EQ(transfer.leak()->Release(), 0);
  callback.isOver = true;
  EXPECT_TRUE(callback.hasEnded);
  EXPECT_EQ(host.calls(), 1U);
}

TEST_F(DownloadTransfer, TheLastReleaseInAnotherTransfersCallbackWaitsForNothing) {
  server.answerAlways(twoAlbums);
  MediaHost other;
  const Transfer otherTransfer = KBL::adoptRef(createEMTDlTransfer());
  IExternlMediaTransfer* const released = transfer.leak();
  Flag isRunning;
  Flag isReleased;
  Flag isOver;
  host.itemResult = [&](std::size_t) {
    isRunning.raise();
    EXPECT_TRUE(isReleased.wait());
    // What it was handed stays readable, and starts nothing any more.
    EXPECT_EQ(released->AddRef(), 0);
    EXPECT_EQ(released->Release(), 0);
    void* context = nullptr;
    EXPECT_EQ(released->Query(KBL::queryContext, &context), 5);
    EXPECT_EQ(context, &host);
    EXPECT_EQ(commandAlbums(*released, "SECOND"), 0);
    EXPECT_EQ(released->Start(), 4);
    isOver.raise();
    return 1;
  };
  other.itemResult = [&](std::size_t count) {
    if (count > 1) return 1;
    EXPECT_TRUE(isRunning.wait());
    EXPECT_EQ(released->Release(), 0);
    isReleased.raise();
    return 1;
  };
  commandAlbums(*released, "FIRST");
  released->Start();
  otherTransfer->Command(KBL::commandSetContext, static_cast<void*>(&other));
  commandAlbums(*otherTransfer, "OTHER");
  otherTransfer->Start();
  EXPECT_TRUE(other.waitForClosingAlbum());
  EXPECT_TRUE(isOver.wait());
  EXPECT_FALSE(waitUntil([&] { return host.calls() > 1; }, soon));
}

TEST_F(DownloadTransfer, TellsItsProtocolOnceOfTheEndBehindTheLastCallback) {
  const ScopedRecordingLogger log;
  server.answerAlways(oneAlbum);
  HeldCallback callback;
  bool callbackHadEnded = false;
  LastRelease protocol([&](KBL::IDmBaseObj*) {
    callbackHadEnded = callback.hasEnded.load();
    throw std::runtime_error("a host's own trouble");
  });
  host.itemResult = [&](std::size_t) {
    callback.run();
    return 1;
  };
  transfer->SetProtocol(&protocol);
  commandAlbums();
  transfer->Start();
  ASSERT_TRUE(callback.waitUntilBegun());
  transfer.reset();
  EXPECT_EQ(protocol.calls, 1);
  EXPECT_TRUE(callbackHadEnded);
  const auto lines =
      log->linesWith("download transfer, the protocol of the host threw: a host's own trouble");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].severity, KBL::IBsLogger::severityError);
}

#if defined(__linux__)
namespace {
double mappedMebibytes() {
  std::ifstream sizes("/proc/self/statm");
  double pages = 0;
  sizes >> pages;
  return pages * 4096 / (1 << 20);
}
}  // namespace

TEST_F(DownloadTransfer, KeepsNoThreadsOfAChainOfCommandsInCallbacks) {
  constexpr std::size_t length = 300;
  std::atomic<std::size_t> done{0};
  // Each of these fails at once, and gives the next command when it says so.
  const auto next = [&] {
    transfer->Command(KBL::commandDownloadFile, "http://127.0.0.1:1/", "never written", &MediaHost::onError,
                      &MediaHost::onProgress);
    transfer->Start();
  };
  host.onOther = [&] {
    if (++done < length) next();
  };
  const double before = mappedMebibytes();
  next();
  ASSERT_TRUE(waitUntil([&] { return done == length; }));
  // A thread's stack alone takes 8.
  EXPECT_LT(mappedMebibytes() - before, 4.0 * length);
}
#endif
