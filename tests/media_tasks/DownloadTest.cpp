#include "media_tasks/MediaHost.h"
#include "media_tasks/PageServer.h"
#include "media_tasks/SNRFacebookDownloadMediaTask.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include <csignal>
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
    SNRFacebookDownloadMediaTask task(server.url() + "/file", path, &MediaHost::onError,
                                      &MediaHost::onProgress);
    task.setHostContext(&host);
    task.setLargestBody(limit);
    task.Run();
  }

  PageServer server;
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
  server.answerAlways(body, "image/jpeg");
  download(directory.file("picture.jpg"));
  EXPECT_EQ(directory.read("picture.jpg"), body);
  ASSERT_FALSE(host.progress().empty());
  EXPECT_EQ(host.progress().back(), (Progress{1, 300000, 300000}));
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(Download, ReportsProgressOnlyWhenTheByteCountChanges) {
  server.answerAlways(allBytes(500000), "image/jpeg");
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
  server.answerAlways("new");
  directory.write("f", "something longer");
  download(directory.file("f"));
  EXPECT_EQ(directory.read("f"), "new");
}

TEST_F(Download, OfAnEmptyBodyMakesAnEmptyFile) {
  server.answerAlways("");
  download(directory.file("f"));
  EXPECT_TRUE(std::filesystem::exists(directory.file("f")));
  EXPECT_THAT(host.progress(), ElementsAre(Progress{1, 0, 0}));
}

TEST_F(Download, KeepsTheBodyOfA404) {
  server.answerInOrder({PageReply{.body = "not found page", .status = 404}});
  download(directory.file("f"));
  EXPECT_EQ(directory.read("f"), "not found page");
  EXPECT_EQ(host.progress().back().finished, 1);
}

TEST_F(Download, ThatFailsReportsError10AndTouchesNoFile) {
  server.answerInOrder({PageReply{.body = std::string(1000, 'x'), .breakAfter = 400}});
  directory.write("f", "kept");
  download(directory.file("f"));
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Transferred a partial file"}));
  EXPECT_EQ(directory.read("f"), "kept");
  for (const Progress& progress : host.progress()) EXPECT_EQ(progress.finished, 0);
}

TEST_F(Download, IntoAMissingDirectoryReportsError1AndNoEnd) {
  server.answerAlways("body");
  download(directory.file("missing/f"));
  EXPECT_THAT(host.errors(), ElementsAre(Error{1, "Image save path open error."}));
  for (const Progress& progress : host.progress()) EXPECT_EQ(progress.finished, 0);
}

#if defined(__linux__)
TEST_F(Download, OntoAFullDiskReportsError1AndNoEnd) {
  for (const std::size_t size : {std::size_t{10}, std::size_t{100000}}) {
    MediaHost other;
    server.answerAlways(std::string(size, 'x'));
    SNRFacebookDownloadMediaTask task(server.url(), "/dev/full", &MediaHost::onError, &MediaHost::onProgress);
    task.setHostContext(&other);
    task.Run();
    EXPECT_THAT(other.errors(), ElementsAre(Error{1, "Image file write error."})) << size;
    for (const Progress& progress : other.progress()) EXPECT_EQ(progress.finished, 0);
  }
}
#endif

#if !defined(_WIN32)
TEST_F(Download, LeavesThePartOfAFileThatTheDiskTook) {
  constexpr rlim_t room = 50000;
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit small{room, before.rlim_max};
  const auto formerHandler = std::signal(SIGXFSZ, SIG_IGN);
  server.answerAlways(std::string(100000, 'x'));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  download(directory.file("f"));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  (void)std::signal(SIGXFSZ, formerHandler);
  EXPECT_THAT(host.errors(), ElementsAre(Error{1, "Image file write error."}));
  EXPECT_EQ(std::filesystem::file_size(directory.file("f")), room);
  for (const Progress& progress : host.progress()) EXPECT_EQ(progress.finished, 0);
}
#endif

#if defined(__linux__)
TEST_F(Download, HasClosedTheFileWhenItTellsItsEnd) {
  server.answerAlways("body");
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
  server.answerAlways(std::string(1000, 'x'));
  SNRFacebookDownloadMediaTask task(server.url(), directory.file("f"), &MediaHost::onError,
                                    &MediaHost::onProgress);
  host.onOther = [&] { task.Stop(); };
  task.setHostContext(&host);
  task.Run();
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(host.progress(), ElementsAre(testing::Field(&Progress::finished, 0)));
}

TEST_F(Download, PastItsLimitReportsError10) {
  server.answerAlways(std::string(2000, 'x'));
  download(directory.file("f"), 1999);
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Failed writing received data to disk/application"}));
  EXPECT_FALSE(std::filesystem::exists(directory.file("f")));
}

TEST_F(Download, MayBeLargerThanAPage) {
  server.answerAlways(std::string(KBL::largestPageBytes + 1, 'x'), "application/octet-stream");
  SNRFacebookDownloadMediaTask task(server.url(), directory.file("f"), &MediaHost::onError, nullptr);
  task.setHostContext(&host);
  task.Run();
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(std::filesystem::file_size(directory.file("f")), KBL::largestPageBytes + 1);
}

TEST_F(Download, EndsWithError10WhenTheHostThrows) {
  server.answerAlways(std::string(1000, 'x'));
  host.onOther = [&] {
    if (host.errors().empty()) throw std::runtime_error("a host's own trouble");
  };
  download(directory.file("f"));
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Operation was aborted by an application callback"}));
  EXPECT_FALSE(std::filesystem::exists(directory.file("f")));
}

TEST_F(Download, WithoutCallbacksStoresInSilence) {
  server.answerAlways("body");
  SNRFacebookDownloadMediaTask task(server.url(), directory.file("f"), nullptr, nullptr);
  task.Run();
  EXPECT_EQ(directory.read("f"), "body");
}

TEST_F(Download, StoppedHalfwayStaysSilentAndTouchesNoFile) {
  server.answerInOrder({PageReply{.body = std::string(1000, 'x'), .stallAfter = 400}});
  SNRFacebookDownloadMediaTask task(server.url(), directory.file("f"), &MediaHost::onError,
                                    &MediaHost::onProgress);
  task.setHostContext(&host);
  task.Start(nullptr);
  ASSERT_TRUE(waitUntil([&] { return !host.progress().empty(); }));
  task.Stop();
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(host.progress().back(), (Progress{0, 1000, 400}));
  EXPECT_FALSE(std::filesystem::exists(directory.file("f")));
}

TEST_F(Download, GivesTheProgressRecordItsNumbers) {
  SNRFacebookDownloadMediaTask task("", "", nullptr, &MediaHost::onProgress);
  task.setHostContext(&host);
  EXPECT_EQ(task.OnProgress(1000.0, 0.0, 0, 0), 0);
  EXPECT_EQ(task.OnProgress(1000.9, 10.9, 0, 0), 0);
  EXPECT_EQ(task.OnProgress(1000.9, 10.2, 0, 0), 0);
  EXPECT_EQ(task.OnProgress(1e12, 5e9, 0, 0), 0);
  EXPECT_THAT(host.progress(), ElementsAre(Progress{0, 1000, 10}, Progress{0, 2147483647, 2147483647}));
}

TEST_F(Download, AsksTheStallRuleBeforeItReports) {
  SNRFacebookDownloadMediaTask task("", "", nullptr, &MediaHost::onProgress);
  task.setHostContext(&host);
  task.cancel();
  EXPECT_EQ(task.OnProgress(1000, 10, 0, 0), 1);
  EXPECT_THAT(host.progress(), IsEmpty());
}
