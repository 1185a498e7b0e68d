// How an upload transfer ends while its events run, and what its commands leave behind.
#include "scripting/UploadEnd.h"
#include "support/Flag.h"
#include "support/LastRelease.h"
#include "support/RecordingLogger.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

using namespace KBL;

namespace {

class UploadEnd : public testing::Test {
 protected:
  ScopedRecordingLogger log_;
  InstalledManager manager_{ema_youtube};
  FakeUpload upload_{manager_};
  std::atomic<bool> inside_{false};
  std::atomic<bool> left_{false};
};

}  // namespace

TEST_F(UploadEnd, TheLastReleaseWaitsForTheEventThatRuns) {
  bool toldBehindTheEvent = false;
  LastRelease protocol([&](IDmBaseObj*) { toldBehindTheEvent = left_; });
  upload_.transfer->SetProtocol(&protocol);
  std::atomic<bool> returned{false};
  upload_.onEvent = [&](IExternlMediaTransfer*) {
    inside_ = true;
    EXPECT_FALSE(waitUntil([&] { return returned.load(); }, std::chrono::milliseconds(200)));
    left_ = true;
  };
  std::thread worker([&] { upload_.report(); });
  EXPECT_TRUE(waitUntil([&] { return inside_.load(); }));
  EXPECT_EQ(upload_.transfer->Release(), 0);
  EXPECT_TRUE(left_);
  returned = true;
  EXPECT_TRUE(toldBehindTheEvent);
  worker.join();
}

TEST_F(UploadEnd, ThePointerOfARunningEventStaysReadableButIsNotRevived) {
  upload_.onEvent = [&](IExternlMediaTransfer* transfer) {
    EXPECT_EQ(transfer->Release(), 0);
    EXPECT_EQ(transfer->AddRef(), 0);
    EXPECT_EQ(transfer->Release(), 0);
    EXPECT_EQ(transfer->Release(), 0);
    void* context = nullptr;
    EXPECT_EQ(transfer->Query(KBL::queryContext, &context), 0);
    EXPECT_EQ(context, &upload_.onEvent);
    const std::size_t uploads = manager_->uploads.size();
    EXPECT_EQ(transfer->Start(), 3);
    EXPECT_EQ(transfer->Stop(), 3);
    EXPECT_EQ(manager_->uploads.size(), uploads);
    left_ = true;
  };
  upload_.report();
  EXPECT_TRUE(left_);
}

TEST_F(UploadEnd, InItsOwnEventTheLastReleaseDoesNotWait) {
  upload_.onEvent = [&](IExternlMediaTransfer* transfer) {
    inside_ = true;
    EXPECT_EQ(transfer->Release(), 0);
    void* context = nullptr;
    EXPECT_EQ(transfer->Query(KBL::queryContext, &context), 0);
    left_ = true;
  };
  upload_.report();
  EXPECT_TRUE(left_);
  inside_ = false;
  upload_.report();
  EXPECT_FALSE(inside_);
}

TEST_F(UploadEnd, InItsOwnEventTheLastReleaseDoesNotWaitForAnotherOne) {
  std::atomic<bool> released{false};
  upload_.onEvent = [&](IExternlMediaTransfer* transfer) {
    if (!inside_.exchange(true)) {
      EXPECT_TRUE(waitUntil([&] { return released.load(); }));
      return;
    }
    EXPECT_EQ(transfer->Release(), 0);
    released = true;
  };
  std::thread first([&] { upload_.report(); });
  EXPECT_TRUE(waitUntil([&] { return inside_.load(); }));
  upload_.report();
  first.join();
  EXPECT_TRUE(released);
}

TEST_F(UploadEnd, AnEventThatIsOnItsWayDoesNotBeginBehindTheLastRelease) {
  upload_.onEvent = [&](IExternlMediaTransfer*) { inside_ = true; };
  Flag logged;
  Flag mayGo;
  log_->doInside("[AuthNUpload][py] Upload progress:42", [&] {
    logged.raise();
    EXPECT_TRUE(mayGo.wait());
  });
  std::thread worker([&] { upload_.report(); });
  EXPECT_TRUE(logged.wait());
  EXPECT_EQ(upload_.transfer->Release(), 0);
  mayGo.raise();
  worker.join();
  EXPECT_FALSE(inside_);
}

TEST_F(UploadEnd, NoEventBeginsWhileTheProtocolIsTold) {
  upload_.onEvent = [&](IExternlMediaTransfer*) { inside_ = true; };
  LastRelease protocol([&](IDmBaseObj*) { std::thread([&] { upload_.report(); }).join(); });
  upload_.transfer->SetProtocol(&protocol);
  EXPECT_EQ(upload_.transfer->Release(), 0);
  EXPECT_FALSE(inside_);
}

TEST_F(UploadEnd, AnEventThatThrowsCountsAsReturned) {
  int calls = 0;
  upload_.onEvent = [&](IExternlMediaTransfer*) {
    ++calls;
    throw std::runtime_error("no room");
  };
  EXPECT_NO_THROW(upload_.report());
  EXPECT_NO_THROW(upload_.report());
  EXPECT_EQ(calls, 2);
  const auto lines = log_->linesWith("host callback threw: no room");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].severity, IBsLogger::severityError);
  EXPECT_EQ(upload_.transfer->Release(), 0);
}

TEST_F(UploadEnd, AContextMayGoBehindTheLastReleaseOfAnyThread) {
  upload_.transfer->Release();
  for (int round = 0; round < 50; ++round) {
    auto context = std::make_unique<FakeUpload>(manager_);
    const auto& reporter = *context;
    std::atomic<int> ready{0};
    std::atomic<bool> ended{false};
    auto counter = std::make_unique<int>(0);
    context->onEvent = [&, count = counter.get()](IExternlMediaTransfer*) {
      EXPECT_FALSE(ended);
      ++*count;
    };
    std::thread worker([&] {
      ++ready;
      while (ready < 2) std::this_thread::yield();
      for (int event = 0; event < 20; ++event) reporter.report();
    });
    ++ready;
    while (ready < 2) std::this_thread::yield();
    EXPECT_EQ(context->transfer->Release(), 0);
    ended = true;
    counter.reset();
    worker.join();
  }
}

TEST_F(UploadEnd, StopsMayComeFromOtherThreadsWhileUploadsStart) {
  std::atomic<bool> done{false};
  std::thread stopper([&] {
    while (!done) EXPECT_EQ(upload_.transfer->Stop(), 0);
  });
  for (int round = 0; round < 200; ++round) EXPECT_EQ(upload_.transfer->Start(), 0);
  done = true;
  stopper.join();
  upload_.transfer->Release();
}

TEST_F(UploadEnd, TwoThreadsThatAskFirstShareOneProxy) {
  upload_.transfer->Release();
  for (int round = 0; round < 50; ++round) {
    IExternlMediaTransfer* const transfer = createEMTUpTransfer(KBL::transferYoutube);
    const hostTransferRecord job{};
    transfer->Command(KBL::commandSetRecord, &job);
    const auto room = std::make_unique<char[]>(sizeof(hostAccountRecord) + 4096);
    std::thread asking([&] { (void)transfer->Query(KBL::queryUserInfo, room.get()); });
    EXPECT_EQ(transfer->Start(), 0);
    asking.join();
    EXPECT_EQ(transfer->Release(), 0);
  }
}

// The defaults of command 0 are 1 and 1; the copy replaces them by whatever the host's record says, a 0, too.
TEST_F(UploadEnd, TheNumbersOfTheRecordReachTheUploadAsTheyAre) {
  const auto numbers = [&] {
    auto& info = *manager_->uploads.back().info;
    return std::string(info.charKeyConfig(ExternlUserConsumeCharKey::use_client)) + " " +
           info.charKeyConfig(ExternlUserConsumeCharKey::action_type);
  };
  EXPECT_EQ(numbers(), "0 0");
  hostTransferRecord job{};
  job.useClient = 7;
  job.actionType = -3;
  upload_.transfer->Command(KBL::commandSetRecord, &job);
  upload_.transfer->Start();
  EXPECT_EQ(numbers(), "7 -3");
  upload_.transfer->Release();
}
