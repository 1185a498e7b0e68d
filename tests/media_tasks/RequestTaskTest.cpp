#include "media_tasks/ProbeTask.h"
#include "media_tasks/ScriptedFetcher.h"
#include "support/Flag.h"
#include "support/MediaHost.h"
#include "support/NoThreads.h"
#include "support/RecordingLogger.h"
#include "support/SlotOf.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

using KBL::SNRRequestTask;
using testing::ElementsAre;
using testing::IsEmpty;
using Error = MediaHost::Error;

namespace {

KBL::IExternlMediaTransfer* const someTransfer = reinterpret_cast<KBL::IExternlMediaTransfer*>(0x1234560);

/// Goes on until it is cancelled.
struct LongJob {
  Flag started;
  std::atomic<bool> ended{false};

  void operator()(const ProbeTask& self) {
    started.raise();
    while (!self.isCancelled()) std::this_thread::yield();
    ended = true;
  }
};

}  // namespace

#if !defined(_MSC_VER)
TEST(RequestTask, HasItsVirtualOperationsInOrder) {
  // The destructor takes two slots in this binary interface.
  expectSlots(2, &SNRRequestTask::Run, &SNRRequestTask::OnWrite, &SNRRequestTask::OnProgress);
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
  LongJob job;
  ProbeTask task(std::ref(job));
  task.Start(someTransfer);
  ASSERT_TRUE(job.started.wait());
  task.Stop();
  EXPECT_TRUE(job.ended);
}

TEST(RequestTask, StopFromTwoThreadsHoldsBothUntilTheEnd) {
  LongJob job;
  ProbeTask task(std::ref(job));
  task.Start(someTransfer);
  ASSERT_TRUE(job.started.wait());
  std::atomic<int> tooEarly{0};
  const auto stop = [&] {
    task.Stop();
    if (!job.ended) ++tooEarly;
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
  MediaHost host;
  ProbeTask task([](ProbeTask&) { throw std::runtime_error("no memory"); });
  task.setHostContext(&host);
  task.Start(someTransfer);
  ASSERT_TRUE(host.waitForErrors(1));
  task.Stop();
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Internal error."}));
  ASSERT_THAT(log->linesWith("media task ended early: no memory"), testing::SizeIs(1));
  EXPECT_EQ(log->linesWith("media task ended early: no memory").front().severity, 2);
}

TEST(RequestTask, TakesACallbackThatThrowsForOneThatReturned) {
  const ScopedRecordingLogger log;
  MediaHost host;
  host.onOther = [] { throw std::runtime_error("a host's own trouble"); };
  std::atomic<bool> wentOn{false};
  ProbeTask task([&](ProbeTask& self) {
    self.ReportError(7, "seven");
    wentOn = true;
  });
  task.setHostContext(&host);
  task.Start(someTransfer);
  ASSERT_TRUE(waitUntil([&] { return wentOn.load(); }));
  task.Stop();
  EXPECT_THAT(host.errors(), ElementsAre(Error{7, "seven"}));
  ASSERT_THAT(log->linesWith("a host's own trouble"), testing::SizeIs(1));
  EXPECT_EQ(log->linesWith("a host's own trouble").front().severity, 2);
}

TEST(RequestTask, IsCancelledByTheEndOfTheProcess) {
  ScriptedFetcher fetcher;
  fetcher.endProcess();
  MediaHost host;
  ProbeTask task(fetcher);
  task.setHostContext(&host);
  std::string body = "former";
  EXPECT_FALSE(task.Fetch(ScriptedFetcher::url(), body));
  task.ReportError(10, task.errorText());
  EXPECT_TRUE(task.isCancelled());
  EXPECT_EQ(body, "");
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST(RequestTask, HoldsItsKeeperUntilTheJobHasEnded) {
  Flag mayEnd;
  ProbeTask task([&](ProbeTask&) { (void)mayEnd.wait(); });
  auto keeper = std::make_shared<int>(0);
  const std::weak_ptr<int> kept = keeper;
  task.Start(someTransfer, std::move(keeper));
  EXPECT_FALSE(kept.expired());
  mayEnd.raise();
  EXPECT_TRUE(waitUntil([&] { return kept.expired(); }));
  task.Stop();
}

TEST(RequestTask, MayLiveInItsKeeper) {
  Flag mayEnd;
  std::atomic<bool> isGone{false};
  const auto end = [&](const ProbeTask* task) {
    EXPECT_FALSE(SNRRequestTask::isThreadOf(someTransfer));
    delete task;
    isGone = true;
  };
  std::shared_ptr<ProbeTask> keeper(new ProbeTask([&](ProbeTask&) { (void)mayEnd.wait(); }), end);
  ProbeTask& task = *keeper;
  task.Start(someTransfer, std::move(keeper));
  EXPECT_FALSE(isGone);
  mayEnd.raise();
  EXPECT_TRUE(waitUntil([&] { return isGone.load(); }));
}

TEST(RequestTask, PartsWithAThreadThatHasEndedAlone) {
  Flag mayEnd;
  ProbeTask task([&](ProbeTask& self) {
    (void)mayEnd.wait();
    EXPECT_FALSE(self.partWithEndedThread());
  });
  EXPECT_TRUE(task.partWithEndedThread());
  task.Start(someTransfer);
  EXPECT_FALSE(task.partWithEndedThread());
  mayEnd.raise();
  EXPECT_TRUE(waitUntil([&] { return task.partWithEndedThread(); }));
  EXPECT_FALSE(task.isOnOwnThread());
}

#if defined(__GLIBC__)
TEST(RequestTask, WithoutAThreadSaysSoUnderNoLock) {
  struct WaitingLogger : KBL::IBsLogger {
    bool testSeverity(Severity) override { return true; }
    void write(Severity, const char*, int, const char*, const std::string&) override {
      begun.raise();
      (void)mayEnd.wait();
    }
    Flag begun;
    Flag mayEnd;
  };
  const ScopedRecordingLogger restored;
  const auto logger = std::make_shared<WaitingLogger>();
  KBL::installLogger(logger);
  ProbeTask task;
  std::atomic<bool> isUnlocked{false};
  std::thread other([&] {
    if (logger->begun.wait()) isUnlocked = task.partWithEndedThread();
    logger->mayEnd.raise();
  });
  {
    const NoThreads impossible;
    task.Start(someTransfer);
  }
  other.join();
  EXPECT_TRUE(isUnlocked);
}
#endif

TEST(RequestTask, TakesNoLaterThreadForItsOwn) {
  constexpr int tries = 50;
  std::thread::id former;
  ProbeTask task([&](ProbeTask&) { former = std::this_thread::get_id(); });
  task.Start(someTransfer);
  task.Stop();
  // The system soon gives the same name to another thread.
  for (int number = 0; number < tries; ++number) {
    std::thread later([&] { EXPECT_FALSE(task.isOnOwnThread()); });
    const bool isNamesake = later.get_id() == former;
    later.join();
    if (isNamesake) break;
  }
}

TEST(RequestTask, KnowsTheTransferOfTheThreadItRunsOn) {
  auto* const otherTransfer = reinterpret_cast<KBL::IExternlMediaTransfer*>(0x7654320);
  std::atomic<int> known{0};
  ProbeTask task([&](ProbeTask&) {
    if (SNRRequestTask::isThreadOf(someTransfer) && !SNRRequestTask::isThreadOf(otherTransfer)) known = 1;
  });
  task.Start(someTransfer);
  task.Stop();
  EXPECT_EQ(known, 1);
  EXPECT_FALSE(SNRRequestTask::isThreadOf(someTransfer));
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
