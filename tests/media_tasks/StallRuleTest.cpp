// The stall rule, second by second.
#include "media_tasks/ProbeTask.h"
#include "media_tasks/SNRFacebookDownloadMediaTask.h"
#include "media_tasks/SNRFacebookEnumAlbumInfoTask.h"
#include "media_tasks/ScriptedFetcher.h"
#include "support/ManualTimeSource.h"
#include "support/MediaHost.h"
#include "support/PageServer.h"
#include "support/RecordingLogger.h"

#include <gmock/gmock.h>

#include <atomic>

using testing::ElementsAre;
using testing::IsEmpty;
using Error = MediaHost::Error;

namespace {

constexpr std::uint64_t secondMs = 1000;

}  // namespace

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

TEST(StallRule, GivesAPageTenMinutes) {
  const ScopedManualTime time;
  ProbeTask task;
  EXPECT_EQ(task.OnProgress(0, 0, 0, 0), 0);
  for (int beat = 1; beat <= 30; ++beat) {
    time->advance(20 * secondMs);
    EXPECT_EQ(task.OnProgress(0, beat, 0, 0), 0) << beat;
  }
  time->advance(secondMs);
  EXPECT_EQ(task.OnProgress(0, 31, 0, 0), 1);
}

TEST(StallRule, GivesAPageTenMinutesWhateverTheWallClockDoes) {
  const ScopedManualTime time;
  ProbeTask task;
  EXPECT_EQ(task.OnProgress(0, 0, 0, 0), 0);
  time->setNowSinceEpochMs(1'700'000'020'000);
  EXPECT_EQ(task.OnProgress(0, 1, 0, 0), 0);
  for (int beat = 2; beat < 32; ++beat) {
    time->advance(20 * secondMs);
    time->setNowSinceEpochMs(1'700'000'020'000);
    EXPECT_EQ(task.OnProgress(0, beat, 0, 0), 0) << beat;
  }
  time->advance(secondMs);
  EXPECT_EQ(task.OnProgress(0, 40, 0, 0), 1);
}

TEST(StallRule, GivesADownloadAllTheTimeItNeeds) {
  const ScopedManualTime time;
  KBL::SNRFacebookDownloadMediaTask task("", "", nullptr, nullptr, KBL::curlMediaFetcher());
  for (int beat = 0; beat < 10000; ++beat) {
    ASSERT_EQ(task.OnProgress(0, beat, 0, 0), 0) << beat;
    time->advance(20 * secondMs);
  }
}

TEST(StallRule, EndsATransferThatIsCancelled) {
  ProbeTask task;
  task.cancel();
  EXPECT_EQ(task.OnProgress(10, 5, 0, 0), 1);
}

TEST(StallRule, EndsTheFetchOfASilentServerWithError10) {
  const ScopedManualTime time;
  const ScopedRecordingLogger log;
  ScriptedFetcher fetcher;
  fetcher.answerInOrder({ScriptedReply{.body = std::string(100, 'x'), .stallAfter = 10}});
  MediaHost host;
  KBL::SNRFacebookEnumAlbumInfoTask task("T", &MediaHost::onAlbum, &MediaHost::onError, fetcher);
  task.setHostContext(&host);
  task.Start(nullptr);
  ASSERT_TRUE(fetcher.waitForTargets(1));
  ASSERT_TRUE(time->advanceUntil([&] { return !host.errors().empty(); }, 31 * secondMs));
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Operation was aborted by an application callback"}));
  EXPECT_THAT(host.albums(), IsEmpty());
  // The text is libcurl's, which knows no better.
  ASSERT_THAT(log->linesWith("the server sends nothing"), testing::SizeIs(1));
  EXPECT_EQ(log->linesWith("the server sends nothing").front().severity, 3);
}

TEST(StallRule, BeginsAnewWithEveryFetch) {
  const ScopedManualTime time;
  ScriptedFetcher fetcher;
  fetcher.answerAlways("body");
  ProbeTask task(fetcher);
  std::string body;
  ASSERT_TRUE(task.Fetch(ScriptedFetcher::url(), body));
  time->advance(1000 * secondMs);
  EXPECT_TRUE(task.Fetch(ScriptedFetcher::url(), body));
}

TEST(StallRule, ForgetsAStallWithTheNextFetch) {
  const ScopedManualTime time;
  ProbeTask task;
  EXPECT_EQ(task.OnProgress(0, 0, 0, 0), 0);
  time->advance(31 * secondMs);
  EXPECT_EQ(task.OnProgress(0, 0, 0, 0), 1);
  EXPECT_TRUE(task.hasStalled());
  std::string body = "former";
  EXPECT_FALSE(task.Fetch("ftp://127.0.0.1:1/", body));
  EXPECT_FALSE(task.hasStalled());
  EXPECT_EQ(body, "");
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
  task.Start(nullptr);
  ASSERT_TRUE(server.waitForRequests(2));
  ASSERT_TRUE(time->advanceUntil([&] { return isOver.load(); }, 31 * secondMs));
  EXPECT_EQ(error, "Operation was aborted by an application callback");
}
