#include "media_tasks/CurlMediaFetcher.h"
#include "media_tasks/SNRFacebookDownloadMediaTask.h"
#include "media_tasks/ScriptedFetcher.h"
#include "support/ManualTimeSource.h"
#include "support/MediaHost.h"
#include "support/PageServer.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>

using KBL::SNRFacebookDownloadMediaTask;
using testing::ElementsAre;
using testing::IsEmpty;
using Error = MediaHost::Error;
using Progress = MediaHost::Progress;

namespace {

class DownloadTest : public testing::Test {
 protected:
  void download(const std::string& path, std::size_t limit = KBL::largestDownloadBytes) {
    SNRFacebookDownloadMediaTask task(ScriptedFetcher::url() + "/file", path, &MediaHost::onError,
                                      &MediaHost::onProgress, fetcher);
    task.setHostContext(&host);
    task.setLargestBody(limit);
    task.Run();
  }

  /// The same over the network.
  void downloadFrom(const std::string& url, const std::string& path) {
    SNRFacebookDownloadMediaTask task(url, path, &MediaHost::onError, &MediaHost::onProgress,
                                      KBL::curlMediaFetcher());
    task.setHostContext(&host);
    task.Run();
  }

  ScriptedFetcher fetcher;
  TemporaryDirectory directory;
  MediaHost host;
};

using Download = DownloadTest;

std::string allBytes(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t place = 0; place < size; ++place)
    bytes[place] = static_cast<char>(place * 7 + place / 256);
  return bytes;
}

}  // namespace

TEST_F(Download, StoresTheBodyAndReportsItsEnd) {
  const std::string body = allBytes(300000);
  fetcher.answerAlways(body);
  download(directory.file("picture.jpg"));
  EXPECT_EQ(directory.read("picture.jpg"), body);
  ASSERT_FALSE(host.progress().empty());
  EXPECT_EQ(host.progress().back(), (Progress{1, 300000, 300000}));
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(Download, ReportsProgressOnlyWhenTheByteCountChanges) {
  fetcher.answerAlways(allBytes(500000));
  download(directory.file("f"));
  const auto progress = host.progress();
  int before = 0;
  for (std::size_t place = 0; place + 1 < progress.size(); ++place) {
    EXPECT_EQ(progress[place].finished, 0);
    EXPECT_GT(progress[place].bytes, before);
    before = progress[place].bytes;
  }
}

TEST_F(Download, ReplacesAFileThatIsThere) {
  fetcher.answerAlways("new");
  directory.write("f", "something longer");
  download(directory.file("f"));
  EXPECT_EQ(directory.read("f"), "new");
}

TEST_F(Download, OfAnEmptyBodyMakesAnEmptyFile) {
  fetcher.answerAlways("");
  download(directory.file("f"));
  EXPECT_TRUE(std::filesystem::exists(directory.file("f")));
  EXPECT_THAT(host.progress(), ElementsAre(Progress{1, 0, 0}));
}

TEST_F(Download, KeepsTheBodyOfA404) {
  PageServer server;
  server.answerInOrder({PageReply{.body = "not found page", .status = 404}});
  downloadFrom(server.url(), directory.file("f"));
  EXPECT_EQ(directory.read("f"), "not found page");
  EXPECT_EQ(host.progress().back().finished, 1);
}

TEST_F(Download, ThatFailsReportsError10AndTouchesNoFile) {
  fetcher.answerInOrder({ScriptedReply{.body = std::string(1000, 'x'), .breakAfter = 400}});
  directory.write("f", "kept");
  download(directory.file("f"));
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Transferred a partial file"}));
  EXPECT_EQ(directory.read("f"), "kept");
  for (const Progress& progress : host.progress()) EXPECT_EQ(progress.finished, 0);
}

TEST_F(Download, IntoAMissingDirectoryReportsError1AndNoEnd) {
  fetcher.answerAlways("body");
  download(directory.file("missing/f"));
  EXPECT_THAT(host.errors(), ElementsAre(Error{1, "Image save path open error."}));
  for (const Progress& progress : host.progress()) EXPECT_EQ(progress.finished, 0);
}

#if defined(__linux__)
TEST_F(Download, OntoAFullDiskReportsError1AndNoEnd) {
  for (const std::size_t size : {std::size_t{10}, std::size_t{100000}}) {
    MediaHost other;
    fetcher.answerAlways(std::string(size, 'x'));
    SNRFacebookDownloadMediaTask task(ScriptedFetcher::url(), "/dev/full", &MediaHost::onError,
                                      &MediaHost::onProgress, fetcher);
    task.setHostContext(&other);
    task.Run();
    EXPECT_THAT(other.errors(), ElementsAre(Error{1, "Image file write error."})) << size;
    for (const Progress& progress : other.progress()) EXPECT_EQ(progress.finished, 0);
  }
}
#endif

#if defined(__linux__)
TEST_F(Download, HasClosedTheFileWhenItTellsItsEnd) {
  fetcher.answerAlways("body");
  const std::filesystem::path path = directory.file("f");
  bool wasOpen = false;
  host.onOther = [&] {
    if (host.progress().back().finished == 0) return;
    for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      wasOpen = wasOpen || std::filesystem::read_symlink(descriptor.path(), gone) == path;
    }
  };
  download(path.string());
  EXPECT_EQ(host.progress().back().finished, 1);
  EXPECT_FALSE(wasOpen);
}
#endif

TEST_F(Download, StoppedByItsProgressTellsNoEnd) {
  fetcher.answerAlways(std::string(1000, 'x'));
  SNRFacebookDownloadMediaTask task(ScriptedFetcher::url(), directory.file("f"), &MediaHost::onError,
                                    &MediaHost::onProgress, fetcher);
  host.onOther = [&] { task.Stop(); };
  task.setHostContext(&host);
  task.Run();
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(host.progress(), ElementsAre(testing::Field(&Progress::finished, 0)));
}

TEST_F(Download, PastItsLimitReportsError10) {
  fetcher.answerAlways(std::string(2000, 'x'));
  download(directory.file("f"), 1999);
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Failed writing received data to disk/application"}));
  EXPECT_FALSE(std::filesystem::exists(directory.file("f")));
}

TEST_F(Download, MayBeLargerThanAPage) {
  fetcher.answerAlways(std::string(KBL::largestPageBytes + 1, 'x'));
  SNRFacebookDownloadMediaTask task(ScriptedFetcher::url(), directory.file("f"), &MediaHost::onError, nullptr,
                                    fetcher);
  task.setHostContext(&host);
  task.Run();
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(std::filesystem::file_size(directory.file("f")), KBL::largestPageBytes + 1);
}

TEST_F(Download, GoesOnWhenTheHostThrows) {
  fetcher.answerAlways(std::string(1000, 'x'));
  host.onOther = [] { throw std::runtime_error("a host's own trouble"); };
  download(directory.file("f"));
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(directory.read("f"), std::string(1000, 'x'));
  EXPECT_EQ(host.progress().back().finished, 1);
}

TEST_F(Download, RefusesABodyOf2GibibytesAtOnce) {
  const ScopedManualTime time;  // stands still: no fetch stalls
  PageServer server;
  server.answer([](const std::string&) {
    return PageReply{.body = "first", .stallAfter = 5, .announced = std::size_t{2} << 30};
  });
  downloadFrom(server.url(), directory.file("f"));
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Failed writing received data to disk/application"}));
  EXPECT_THAT(host.progress(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(directory.file("f")));
}

TEST_F(Download, TakesABodyOfOneByteLess) {
  const ScopedManualTime time;
  PageServer server;
  server.answer([](const std::string&) {
    return PageReply{.body = "first", .stallAfter = 5, .announced = (std::size_t{2} << 30) - 1};
  });
  SNRFacebookDownloadMediaTask task(server.url(), directory.file("f"), &MediaHost::onError,
                                    &MediaHost::onProgress, KBL::curlMediaFetcher());
  task.setHostContext(&host);
  task.Start(nullptr);
  ASSERT_TRUE(waitUntil([&] { return host.calls() > 0; }));
  task.Stop();
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(host.progress().back(), (Progress{0, 2147483647, 5}));
}

TEST_F(Download, TakesWebAddressesAlone) {
  directory.write("local", "secret");
  downloadFrom("file://" + directory.file("local"), directory.file("f"));
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Unsupported protocol"}));
  EXPECT_FALSE(std::filesystem::exists(directory.file("f")));
}

TEST_F(Download, WithoutCallbacksStoresInSilence) {
  fetcher.answerAlways("body");
  SNRFacebookDownloadMediaTask task(ScriptedFetcher::url(), directory.file("f"), nullptr, nullptr, fetcher);
  task.Run();
  EXPECT_EQ(directory.read("f"), "body");
}

TEST_F(Download, StoppedHalfwayStaysSilentAndTouchesNoFile) {
  fetcher.answerInOrder({ScriptedReply{.body = std::string(1000, 'x'), .stallAfter = 400}});
  SNRFacebookDownloadMediaTask task(ScriptedFetcher::url(), directory.file("f"), &MediaHost::onError,
                                    &MediaHost::onProgress, fetcher);
  task.setHostContext(&host);
  task.Start(nullptr);
  ASSERT_TRUE(waitUntil([&] { return !host.progress().empty(); }));
  task.Stop();
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(host.progress().back(), (Progress{0, 1000, 400}));
  EXPECT_FALSE(std::filesystem::exists(directory.file("f")));
}

TEST_F(Download, GivesTheProgressRecordItsNumbers) {
  SNRFacebookDownloadMediaTask task("", "", nullptr, &MediaHost::onProgress, fetcher);
  task.setHostContext(&host);
  EXPECT_EQ(task.OnProgress(1000.0, 0.0, 0, 0), 0);
  EXPECT_EQ(task.OnProgress(1000.9, 10.9, 0, 0), 0);
  EXPECT_EQ(task.OnProgress(1000.9, 10.2, 0, 0), 0);
  EXPECT_EQ(task.OnProgress(1e12, 5e9, 0, 0), 0);
  EXPECT_THAT(host.progress(), ElementsAre(Progress{0, 1000, 10}, Progress{0, 2147483647, 2147483647}));
}

TEST_F(Download, AsksTheStallRuleBeforeItReports) {
  SNRFacebookDownloadMediaTask task("", "", nullptr, &MediaHost::onProgress, fetcher);
  task.setHostContext(&host);
  task.cancel();
  EXPECT_EQ(task.OnProgress(1000, 10, 0, 0), 1);
  EXPECT_THAT(host.progress(), IsEmpty());
}
