// Download transfers when memory runs out, at each allocation of a call in turn.
#include "boundary/ExternlMediaTransfer.h"
#include "foundation/BsCloudConfig/BsCloudConfig.h"
#include "foundation/object/RefPtr.h"
#include "media_tasks/MediaHost.h"
#include "support/FailingAllocation.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <string>

using KBL::IExternlMediaTransfer;

namespace {

using Transfer = KBL::RefPtr<IExternlMediaTransfer>;

constexpr int moreThanAnyCallNeeds = 1000;

const std::string longText(100, 'x');

/// The commands that make a task, with texts too long to be kept without memory.
std::int32_t command(IExternlMediaTransfer& transfer, int number) {
  const char* const text = longText.c_str();
  switch (number) {
    case 10:
      return transfer.Command(10, text, text, &MediaHost::onError, &MediaHost::onProgress);
    case 12:
      return transfer.Command(12, text, text, &MediaHost::onMedia, &MediaHost::onError);
    case 13:
      return transfer.Command(13, text, text, text, &MediaHost::onMedia, &MediaHost::onError);
    default:
      return transfer.Command(number, text, &MediaHost::onAlbum, &MediaHost::onError);
  }
}

}  // namespace

TEST(TransferMemory, CommandsGive3AndLeaveTheTransferUsable) {
  for (int number = 10; number <= 14; ++number) {
    int failures = 0;
    for (int successes = 0; successes < moreThanAnyCallNeeds; ++successes) {
      const Transfer transfer = KBL::adoptRef(createEMTDlTransfer());
      ASSERT_EQ(command(*transfer, number), 0);
      std::int32_t result = 0;
      {
        const ScopedFailingAllocation shortage(successes);
        result = command(*transfer, number);
        if (!ScopedFailingAllocation::hasFailed()) break;
      }
      ++failures;
      EXPECT_EQ(result, 3) << "command " << number << ", allocation " << successes;
      EXPECT_EQ(transfer->Start(), 4);
      EXPECT_EQ(transfer->Stop(), 0);
      EXPECT_EQ(command(*transfer, number), 0);
    }
    EXPECT_GE(failures, 2) << "command " << number;
  }
}

namespace {

/// Releases a transfer for the last time in a callback, short of memory; ends the process with 0 once the
/// call has come back.
[[noreturn]] void releaseInACallback(int successesBefore) {
  // Nothing listens there: the task says so.
  KBL::setCloudConfig({{"urlMediaFacebookGraph", "http://127.0.0.1:1"}});
  MediaHost host;
  std::atomic<bool> released{false};
  IExternlMediaTransfer* const transfer = createEMTDlTransfer();
  host.onOther = [&] {
    const ScopedFailingAllocation shortage(successesBefore);
    released = transfer->Release() == 0;
  };
  transfer->Command(15, static_cast<void*>(&host));
  for (int earlier = 0; earlier < 3; ++earlier) (void)command(*transfer, 14);
  (void)command(*transfer, 11);
  transfer->Start();
  // Without the exit handlers: what is kept for want of memory is no leak to look for.
  std::_Exit(waitUntil([&] { return released.load(); }) ? 0 : 1);
}

}  // namespace

TEST(TransferMemoryDeathTest, TheLastReleaseInACallbackReturns) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  for (int successes = 0; successes < 6; ++successes) {
    EXPECT_EXIT(releaseInACallback(successes), testing::ExitedWithCode(0), "") << successes;
  }
}

TEST(TransferMemory, CreateGivesNull) {
  const ScopedFailingAllocation shortage(0);
  EXPECT_EQ(createEMTDlTransfer(), nullptr);
  EXPECT_TRUE(ScopedFailingAllocation::hasFailed());
}

TEST(TransferMemory, StartWithoutMemoryForAThreadGives4AndTheNextOneRuns) {
  // Nothing listens there: a task that runs says so.
  KBL::setCloudConfig({{"urlMediaFacebookGraph", "http://127.0.0.1:1"}});
  int failures = 0;
  for (int successes = 0; successes < moreThanAnyCallNeeds; ++successes) {
    MediaHost host;
    const Transfer transfer = KBL::adoptRef(createEMTDlTransfer());
    transfer->Command(15, static_cast<void*>(&host));
    ASSERT_EQ(transfer->Command(11, "TOKEN", &MediaHost::onAlbum, &MediaHost::onError), 0);
    bool failed = false;
    {
      const ScopedFailingAllocation shortage(successes);
      EXPECT_EQ(transfer->Start(), 4);
      failed = ScopedFailingAllocation::hasFailed();
    }
    EXPECT_EQ(transfer->Start(), 4);
    EXPECT_TRUE(host.waitForErrors(1));
    if (!failed) break;
    ++failures;
  }
  EXPECT_GE(failures, 1);
  KBL::clearCloudConfig();
}
