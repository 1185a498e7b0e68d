// Download transfers when memory runs out, at each allocation of a call in turn.
#include "support/FailingAllocation.h"
#include "support/MediaHost.h"
#include "support/PageServer.h"
#include "support/WaitUntil.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <optional>
#include <string>

using KBL::IExternlMediaTransfer;

namespace {

using Transfer = KBL::RefPtr<IExternlMediaTransfer>;

constexpr int moreThanAnyCallNeeds = 1000;

const std::string longText(100, 'x');
/// One that the record of an item cannot take over without memory, as it does with ASCII.
const std::string foreignText = "\xC3\xA9" + longText;

/// The commands that make a task, with texts too long to be kept without memory.
std::int32_t command(IExternlMediaTransfer& transfer, int number) {
  const char* const text = longText.c_str();
  switch (number) {
    case 10:
      return transfer.Command(KBL::commandDownloadFile, text, text, &MediaHost::onError,
                              &MediaHost::onProgress);
    case 12:
      return transfer.Command(KBL::commandListFacebookMedia, text, text, &MediaHost::onMedia,
                              &MediaHost::onError);
    case 13:
      return transfer.Command(KBL::commandListFlickrMedia, text, text, text, &MediaHost::onMedia,
                              &MediaHost::onError);
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
  transfer->Command(KBL::commandSetContext, static_cast<void*>(&host));
  for (int earlier = 0; earlier < 3; ++earlier) (void)command(*transfer, 14);
  (void)command(*transfer, 11);
  transfer->Start();
  // Without the exit handlers: the thread of the task may still be on its way out.
  std::_Exit(waitUntil([&] { return released.load(); }) ? 0 : 1);
}

}  // namespace

TEST(TransferMemoryDeathTest, TheLastReleaseInACallbackReturns) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  for (int successes = 0; successes < 6; ++successes) {
    EXPECT_EXIT(releaseInACallback(successes), testing::ExitedWithCode(0), "") << successes;
  }
}

namespace {

/// Runs a list of two pages, whose walk runs out of memory behind the first item, to its end.
void listShortOfMemory(int number, const std::string& page, MediaHost& host) {
  PageServer server;
  const ScopedMediaHosts hosts(server);
  server.answerAlways(page);
  std::optional<ScopedFailingAllocation> shortage;
  host.itemResult = [&](std::size_t count) {
    if (count == 1) shortage.emplace(0);
    return 1;
  };
  const Transfer transfer = KBL::adoptRef(createEMTDlTransfer());
  transfer->Command(KBL::commandSetContext, static_cast<void*>(&host));
  ASSERT_EQ(
      number == 11
          ? transfer->Command(KBL::commandListFacebookAlbums, "T", &MediaHost::onAlbum, &MediaHost::onError)
          : transfer->Command(KBL::commandListInstagramMedia, "T", &MediaHost::onMedia, &MediaHost::onError),
      0);
  transfer->Start();
  EXPECT_TRUE(host.waitForErrors(1));
  EXPECT_TRUE(number == 11 || host.waitForClosingMedia());
  transfer->Stop();
  EXPECT_THAT(server.requests(), testing::SizeIs(1));
  EXPECT_THAT(host.errors(), testing::ElementsAre(MediaHost::Error{10, "Internal error."}));
}

}  // namespace

TEST(TransferMemory, AListOfMediaThatRunsOutOfItTellsSoAndSendsItsClosingRecord) {
  MediaHost host;
  const std::string item =
      R"({"images":{"standard_resolution":{"url":")" + foreignText + R"("},"thumbnail":{}}})";
  listShortOfMemory(
      14, R"({"meta":{"code":200},"data":[)" + item + "," + item + R"(],"pagination":{"next_max_id":"7"}})",
      host);
  EXPECT_THAT(host.media(), testing::SizeIs(2));
  EXPECT_EQ(host.closings(), 1U);
}

TEST(TransferMemory, AListOfAlbumsThatRunsOutOfItEndsWithTheError) {
  MediaHost host;
  const std::string item = R"({"id":")" + foreignText + R"("})";
  listShortOfMemory(11, R"({"data":[)" + item + "," + item + R"(],"paging":{"next":"http://127.0.0.1:1/"}})",
                    host);
  EXPECT_THAT(host.albums(), testing::SizeIs(1));
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
    transfer->Command(KBL::commandSetContext, static_cast<void*>(&host));
    ASSERT_EQ(
        transfer->Command(KBL::commandListFacebookAlbums, "TOKEN", &MediaHost::onAlbum, &MediaHost::onError),
        0);
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
