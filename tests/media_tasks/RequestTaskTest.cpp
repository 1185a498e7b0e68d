#include "media_tasks/MediaHost.h"
#include "media_tasks/PageServer.h"
#include "media_tasks/ProbeTask.h"
#include "media_tasks/SNRFacebookEnumAlbumInfoTask.h"
#include "support/Flag.h"
#include "support/ManualTimeSource.h"
#include "support/RecordingLogger.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>

using KBL::SNRRequestTask;
using testing::ElementsAre;
using testing::IsEmpty;
using Error = MediaHost::Error;

namespace {

constexpr std::uint64_t secondMs = 1000;

KBL::IExternlMediaTransfer* const someTransfer = reinterpret_cast<KBL::IExternlMediaTransfer*>(0x1234560);

}  // namespace

#if !defined(_WIN32)
TEST(RequestTask, HasItsVirtualOperationsInOrder) {
  std::string job;
  ProbeTask task([&](ProbeTask&) { job = "ran"; });
  SNRRequestTask* const base = &task;
  void** const slots = *reinterpret_cast<void***>(base);
  // The destructor takes two slots in this binary interface.
  reinterpret_cast<void (*)(SNRRequestTask*)>(slots[2])(base);
  EXPECT_EQ(job, "ran");
  const auto onWrite = reinterpret_cast<std::size_t (*)(SNRRequestTask*, const char*, std::size_t)>(slots[3]);
  EXPECT_EQ(onWrite(base, "abc", 3), 3U);
  task.cancel();
  const auto onProgress =
      reinterpret_cast<int (*)(SNRRequestTask*, double, double, double, double)>(slots[4]);
  EXPECT_EQ(onProgress(base, 0, 0, 0, 0), 1);
}
#endif

TEST(RequestTask, StartedTwiceRunsOnOneThread) {
  std::atomic<int> runs{0};
  Flag mayEnd;
  ProbeTask task([&](ProbeTask&) {
    ++runs;
    (void)mayEnd.wait();
  });
  task.Start(someTransfer);
  task.Start(someTransfer);
  mayEnd.raise();
  task.Stop();
  EXPECT_EQ(runs, 1);
}

TEST(RequestTask, StartedAfterItsEndDoesNotRunAgain) {
  std::atomic<int> runs{0};
  ProbeTask task([&](ProbeTask&) { ++runs; });
  task.Start(someTransfer);
  ASSERT_TRUE(waitUntil([&] { return runs == 1; }));
  task.Start(someTransfer);
  task.Stop();
  EXPECT_EQ(runs, 1);
}

TEST(RequestTask, StartedAfterAStopDoesNotRun) {
  std::atomic<int> runs{0};
  ProbeTask task([&](ProbeTask&) { ++runs; });
  task.Stop();
  task.Start(someTransfer);
  task.Stop();
  EXPECT_EQ(runs, 0);
}

TEST(RequestTask, GivesContextAndTransferToItsCallbacks) {
  MediaHost host;
  ProbeTask task([](ProbeTask& self) { self.ReportError(7, "seven"); });
  task.setHostContext(&host);
  task.Start(someTransfer);
  ASSERT_TRUE(host.waitForErrors(1));
  EXPECT_THAT(host.errors(), ElementsAre(Error{7, "seven"}));
  EXPECT_THAT(host.transfers(), ElementsAre(someTransfer));
  EXPECT_EQ(host.threads().count(std::this_thread::get_id()), 0U);
}

TEST(RequestTask, GivesItsCallbacksTheTransferOfTheLatestStart) {
  MediaHost host;
  Flag mayEnd;
  auto* const laterTransfer = reinterpret_cast<KBL::IExternlMediaTransfer*>(0x7654320);
  ProbeTask task([&](ProbeTask& self) {
    (void)mayEnd.wait();
    self.ReportError(7, "seven");
  });
  task.setHostContext(&host);
  task.Start(someTransfer);
  task.Start(laterTransfer);
  mayEnd.raise();
  ASSERT_TRUE(host.waitForErrors(1));
  EXPECT_THAT(host.transfers(), ElementsAre(laterTransfer));
}

TEST(RequestTask, StopWaitsForTheJob) {
  std::atomic<bool> ended{false};
  Flag started;
  ProbeTask task([&](ProbeTask& self) {
    started.raise();
    while (!self.isCancelled()) std::this_thread::yield();
    ended = true;
  });
  task.Start(someTransfer);
  ASSERT_TRUE(started.wait());
  task.Stop();
  EXPECT_TRUE(ended);
}

TEST(RequestTask, StopFromTwoThreadsHoldsBothUntilTheEnd) {
  std::atomic<bool> ended{false};
  Flag started;
  ProbeTask task([&](ProbeTask& self) {
    started.raise();
    while (!self.isCancelled()) std::this_thread::yield();
    ended = true;
  });
  task.Start(someTransfer);
  ASSERT_TRUE(started.wait());
  std::atomic<int> tooEarly{0};
  const auto stop = [&] {
    task.Stop();
    if (!ended) ++tooEarly;
  };
  std::thread other(stop);
  stop();
  other.join();
  EXPECT_EQ(tooEarly, 0);
}

TEST(RequestTask, StopOnItsOwnThreadReturnsAndAnotherThreadWaits) {
  std::atomic<bool> cameBack{false};
  ProbeTask task([&](ProbeTask& self) {
    self.Stop();
    cameBack = self.isCancelled();
  });
  task.Start(someTransfer);
  ASSERT_TRUE(waitUntil([&] { return cameBack.load(); }));
  task.Stop();
  EXPECT_FALSE(task.isOnOwnThread());
}

TEST(RequestTask, StartOnItsOwnThreadDoesNothingWhileAnotherThreadStops) {
  Flag started;
  std::atomic<int> runs{0};
  ProbeTask task([&](ProbeTask& self) {
    ++runs;
    started.raise();
    while (!self.isCancelled()) std::this_thread::yield();
    self.Start(someTransfer);
  });
  task.Start(someTransfer);
  ASSERT_TRUE(started.wait());
  task.Stop();
  EXPECT_EQ(runs, 1);
}

TEST(RequestTask, KeepsAnExceptionOfTheJobInside) {
  const ScopedRecordingLogger log;
  ProbeTask task([](ProbeTask&) { throw std::runtime_error("no memory"); });
  task.Start(someTransfer);
  ASSERT_TRUE(log->waitForLineWith("media task ended early: no memory"));
  task.Stop();
}

TEST(RequestTask, SaysNothingOfAnErrorWithoutACallback) {
  ProbeTask task({}, nullptr);
  task.ReportError(10, "nobody hears this");
}

TEST(RequestTask, SaysNothingOfAnErrorOnceCancelled) {
  MediaHost host;
  ProbeTask task;
  task.setHostContext(&host);
  task.cancel();
  task.ReportError(10, "too late");
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST(RequestTask, CutsALongErrorMessageTo1023Characters) {
  MediaHost host;
  ProbeTask task;
  task.setHostContext(&host);
  task.ReportError(1, std::string(2000, 'm'));
  task.ReportError(2, std::string(1024, 'm'));
  task.ReportError(3, std::string(1023, 'm'));
  const std::string longest(1023, 'm');
  EXPECT_THAT(host.errors(), ElementsAre(Error{1, longest}, Error{2, longest}, Error{3, longest}));
}

// The stall rule, second by second.

TEST(StallRule, GivesUpAfterMoreThan30SecondsWithoutAByte) {
  const ScopedManualTime time;
  ProbeTask task;
  EXPECT_EQ(task.OnProgress(0, 0, 0, 0), 0);
  time->advance(30 * secondMs);
  EXPECT_EQ(task.OnProgress(0, 0, 0, 0), 0);
  time->advance(secondMs);
  EXPECT_EQ(task.OnProgress(0, 0, 0, 0), 1);
}

TEST(StallRule, CountsAnewFromEveryByte) {
  const ScopedManualTime time;
  ProbeTask task;
  for (int bytes = 0; bytes < 10; ++bytes) {
    EXPECT_EQ(task.OnProgress(0, bytes, 0, 0), 0);
    time->advance(30 * secondMs);
  }
  EXPECT_EQ(task.OnProgress(0, 9, 0, 0), 0);
}

TEST(StallRule, LooksAtReceivedBytesAlone) {
  const ScopedManualTime time;
  ProbeTask task;
  EXPECT_EQ(task.OnProgress(0, 5, 0, 0), 0);
  time->advance(31 * secondMs);
  EXPECT_EQ(task.OnProgress(100, 5, 100, 50), 1);
}

TEST(StallRule, StartsItsClockWithTheFirstCall) {
  const ScopedManualTime time;
  ProbeTask task;
  time->advance(1000 * secondMs);
  EXPECT_EQ(task.OnProgress(0, 0, 0, 0), 0);
}

TEST(StallRule, SurvivesAClockThatGoesBack) {
  const ScopedManualTime time;
  ProbeTask task;
  EXPECT_EQ(task.OnProgress(0, 0, 0, 0), 0);
  time->setNowSinceEpochMs(1'600'000'000'000);
  EXPECT_EQ(task.OnProgress(0, 0, 0, 0), 0);
}

TEST(StallRule, EndsATransferThatIsCancelled) {
  ProbeTask task;
  task.cancel();
  EXPECT_EQ(task.OnProgress(10, 5, 0, 0), 1);
}

TEST(StallRule, EndsTheFetchOfASilentServerWithError10) {
  const ScopedManualTime time;
  PageServer server;
  const ScopedMediaHosts hosts(server);
  server.answerInOrder({PageReply{.body = std::string(100, 'x'), .stallAfter = 10}});
  MediaHost host;
  KBL::SNRFacebookEnumAlbumInfoTask task("T", &MediaHost::onAlbum, &MediaHost::onError);
  task.setHostContext(&host);
  task.Start(someTransfer);
  ASSERT_TRUE(server.waitForRequests(1));
  ASSERT_TRUE(time->advanceUntil([&] { return !host.errors().empty(); }, 31 * secondMs));
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Operation was aborted by an application callback"}));
  EXPECT_THAT(host.albums(), IsEmpty());
}

TEST(StallRule, BeginsAnewWithEveryFetch) {
  const ScopedManualTime time;
  PageServer server;
  server.answerAlways("body");
  ProbeTask task;
  std::string body;
  ASSERT_TRUE(task.Fetch(server.url(), body));
  time->advance(1000 * secondMs);
  EXPECT_TRUE(task.Fetch(server.url(), body));
}

TEST(StallRule, WatchesAFetchWithoutAByteBehindAnotherOne) {
  const ScopedManualTime time;
  PageServer server;
  server.answerInOrder({PageReply{.body = ""}, PageReply{.body = "late", .stallAfter = 0}});
  std::atomic<bool> isOver{false};
  std::string error;
  ProbeTask task([&](ProbeTask& self) {
    std::string body;
    EXPECT_TRUE(self.Fetch(server.url(), body));
    EXPECT_FALSE(self.Fetch(server.url(), body));
    error = self.errorText();
    isOver = true;
  });
  task.Start(someTransfer);
  ASSERT_TRUE(server.waitForRequests(2));
  ASSERT_TRUE(time->advanceUntil([&] { return isOver.load(); }, 31 * secondMs));
  EXPECT_EQ(error, "Operation was aborted by an application callback");
}
