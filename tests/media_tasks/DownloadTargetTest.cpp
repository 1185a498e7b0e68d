// What becomes of the file that a download is for, and of what lies beside it.
#include "foundation/system/FileReplacement.h"
#include "foundation/system/System.h"
#include "media_tasks/SNRFacebookDownloadMediaTask.h"
#include "media_tasks/ScriptedFetcher.h"
#include "support/MediaHost.h"
#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

using KBL::System::FileReplacement;
namespace System = KBL::System;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Error = MediaHost::Error;
using Progress = MediaHost::Progress;
namespace fs = std::filesystem;

namespace {

/// Larger than what waits in memory, and smaller.
constexpr std::size_t large = 300000;
constexpr std::size_t small = 1000;

class DownloadTargetTest : public testing::Test {
 protected:
  void download(const std::string& path, const std::string& body) {
    fetcher.answerAlways(body);
    run(path);
  }

  void run(const std::string& path) {
    KBL::SNRFacebookDownloadMediaTask task(ScriptedFetcher::url(), path, &MediaHost::onError,
                                           &MediaHost::onProgress, fetcher);
    task.setHostContext(&host);
    task.Run();
  }

  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(directory.path())) {
      found.push_back(entry.path().filename().string());
    }
    return found;
  }

  ScriptedFetcher fetcher;
  TemporaryDirectory directory;
  MediaHost host;
};

using DownloadTarget = DownloadTargetTest;

/// Files may not grow beyond so many bytes meanwhile.
class ScopedFileLimit {
 public:
  explicit ScopedFileLimit(rlim_t bytes) : formerHandler_(std::signal(SIGXFSZ, SIG_IGN)) {
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &former_), 0);
    const rlimit limit{bytes, former_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  ~ScopedFileLimit() {
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &former_), 0);
    (void)std::signal(SIGXFSZ, formerHandler_);
  }
  ScopedFileLimit(const ScopedFileLimit&) = delete;
  ScopedFileLimit& operator=(const ScopedFileLimit&) = delete;

 private:
  using Handler = void (*)(int);
  const Handler formerHandler_;
  rlimit former_{};
};

mode_t rightsOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

}  // namespace

TEST_F(DownloadTarget, StaysAsItWasWhenAWriteFails) {
  directory.write("f", "kept");
  fetcher.answerInOrder({ScriptedReply{.body = std::string(small, 'x')}});
  {
    const ScopedFileLimit limit(small - 1);
    run(directory.file("f"));
  }
  EXPECT_THAT(host.errors(), ElementsAre(Error{1, "Image file write error."}));
  EXPECT_THAT(host.progress(), Each(Field(&Progress::finished, 0)));
  EXPECT_EQ(directory.read("f"), "kept");
  EXPECT_THAT(names(), ElementsAre("f"));
}

TEST_F(DownloadTarget, StaysAsItWasWhenTheDiskFillsInMidFetch) {
  directory.write("f", "kept");
  fetcher.answerInOrder({ScriptedReply{.body = std::string(large, 'x'), .isAnnounced = false}});
  {
    const ScopedFileLimit limit(large / 2);
    run(directory.file("f"));
  }
  EXPECT_THAT(host.errors(), ElementsAre(Error{1, "Image file write error."}));
  EXPECT_LT(host.progress().back().bytes, static_cast<int>(large));
  EXPECT_EQ(directory.read("f"), "kept");
  EXPECT_THAT(names(), ElementsAre("f"));
}

TEST_F(DownloadTarget, ThatTheDiskHasNoRoomForIsRefusedAtOnce) {
  fetcher.answerInOrder({ScriptedReply{.body = std::string(large, 'x'), .stallAfter = 5}});
  const ScopedFileLimit limit(large - 1);
  run(directory.file("f"));
  EXPECT_THAT(host.errors(), ElementsAre(Error{1, "Image file write error."}));
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(DownloadTarget, ThatHasJustTheRoomIsStored) {
  const ScopedFileLimit limit(large);
  download(directory.file("f"), std::string(large, 'x'));
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(directory.read("f").size(), large);
}

TEST_F(DownloadTarget, IsReplacedInOneStepWhenAllHasCome) {
  directory.write("f", "former");
  std::vector<std::string> seen;
  host.onOther = [&] {
    if (host.progress().back().finished == 0) seen.push_back(directory.read("f"));
  };
  download(directory.file("f"), std::string(large, 'x'));
  EXPECT_FALSE(seen.empty());
  EXPECT_THAT(seen, Each("former"));
  EXPECT_EQ(directory.read("f"), std::string(large, 'x'));
  EXPECT_THAT(names(), ElementsAre("f"));
}

TEST_F(DownloadTarget, HasNothingBesideItAfterAStop) {
  fetcher.answerInOrder({ScriptedReply{.body = std::string(large, 'x'), .breakAfter = large - 1}});
  run(directory.file("f"));
  EXPECT_EQ(host.errors().size(), 1U);
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(DownloadTarget, BehindALinkIsReplacedAndTheLinkStays) {
  directory.write("f", "former");
  fs::create_directory(directory.file("links"));
  fs::create_symlink("../f", directory.file("links/l"));
  fs::create_symlink("nowhere", directory.file("links/n"));
  download(directory.file("links/l"), std::string(large, 'x'));
  download(directory.file("links/n"), std::string(large, 'y'));
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_TRUE(fs::is_symlink(directory.file("links/l")));
  EXPECT_TRUE(fs::is_symlink(directory.file("links/n")));
  EXPECT_EQ(directory.read("f"), std::string(large, 'x'));
  EXPECT_EQ(directory.read("links/nowhere"), std::string(large, 'y'));
}

TEST_F(DownloadTarget, WithTwoNamesKeepsThem) {
  directory.write("f", "former");
  fs::create_hard_link(directory.file("f"), directory.file("g"));
  for (const std::size_t size : {large, small}) {
    download(directory.file("f"), std::string(size, 'x'));
    EXPECT_EQ(directory.read("g"), std::string(size, 'x'));
    EXPECT_THAT(names(), UnorderedElementsAre("f", "g"));
  }
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(DownloadTarget, KeepsItsRightsItsOwnerAndItsGroup) {
  // Root can give a file away; for anyone else it stays the own one.
  const bool isRoot = ::geteuid() == 0;
  const uid_t owner = isRoot ? 1234 : ::geteuid();
  const gid_t group = isRoot ? 1235 : ::getegid();
  const std::string mine = directory.write("mine", "former");
  const std::string theirs = directory.write("theirs", "former");
  const std::string shared = directory.write("shared", "former");
  ASSERT_EQ(::chown(theirs.c_str(), owner, static_cast<gid_t>(-1)), 0);
  ASSERT_EQ(::chown(shared.c_str(), static_cast<uid_t>(-1), group), 0);
  for (const mode_t rights : {mode_t{0640}, mode_t{0606}}) {
    for (const std::string& path : {mine, theirs, shared}) {
      ASSERT_EQ(::chmod(path.c_str(), rights), 0);
      download(path, std::string(large, 'x'));
      EXPECT_EQ(rightsOf(path), rights) << path;
      EXPECT_EQ(fs::file_size(path), large) << path;
    }
  }
  struct stat status {};
  ASSERT_EQ(::stat(theirs.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, owner);
  ASSERT_EQ(::stat(shared.c_str(), &status), 0);
  EXPECT_EQ(status.st_gid, group);
}

TEST_F(DownloadTarget, ThatIsNewHasTheRightsOfAnyNewFile) {
  std::ofstream(directory.file("any")) << "any";
  download(directory.file("f"), std::string(large, 'x'));
  EXPECT_EQ(rightsOf(directory.file("f")), rightsOf(directory.file("any")));
}

TEST_F(DownloadTarget, KeepsItsAccessList) {
  // Version 2; the owner, a user of number 1234, the group, the mask, the others.
  constexpr std::array<unsigned char, 44> list{
      2, 0,    0,    0,    1,    0,    6,    0, 0xff, 0xff, 0xff, 0xff, 2,    0,    4,
      0, 0xd2, 4,    0,    0,    4,    0,    4, 0,    0xff, 0xff, 0xff, 0xff, 0x10, 0,
      4, 0,    0xff, 0xff, 0xff, 0xff, 0x20, 0, 4,    0,    0xff, 0xff, 0xff, 0xff};
  directory.write("f", "former");
  const std::string path = directory.file("f");
  ASSERT_EQ(::setxattr(path.c_str(), "system.posix_acl_access", list.data(), list.size(), 0), 0);
  download(path, std::string(large, 'x'));
  EXPECT_EQ(directory.read("f").size(), large);
  EXPECT_EQ(::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0),
            static_cast<ssize_t>(list.size()));
}

TEST_F(DownloadTarget, TakesNoRightsFromItsDirectory) {
  // As above, for what is made in the directory: the user of number 1234 may read and write it.
  constexpr std::array<unsigned char, 44> list{
      2, 0,    0,    0,    1,    0,    6,    0, 0xff, 0xff, 0xff, 0xff, 2,    0,    6,
      0, 0xd2, 4,    0,    0,    4,    0,    4, 0,    0xff, 0xff, 0xff, 0xff, 0x10, 0,
      6, 0,    0xff, 0xff, 0xff, 0xff, 0x20, 0, 4,    0,    0xff, 0xff, 0xff, 0xff};
  const std::string path = directory.write("f", "former");
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  ASSERT_EQ(::setxattr(directory.path().c_str(), "system.posix_acl_default", list.data(), list.size(), 0), 0);
  download(path, std::string(large, 'x'));
  EXPECT_EQ(fs::file_size(path), large);
  EXPECT_EQ(rightsOf(path), 0640U);
  EXPECT_EQ(::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0), -1);
}

TEST_F(DownloadTarget, ThatIsAnOpenFileOfSomebodyIsWrittenInPlace) {
  const std::string path = directory.write("f", "former");
  const System::UniqueFile reader = System::openFile(path, "rb");
  ASSERT_NE(reader, nullptr);
  download("/dev/fd/" + std::to_string(::fileno(reader.get())), std::string(large, 'x'));
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(System::fileSize(reader.get()), large);
}

TEST_F(DownloadTarget, OfARelativePathIsWhereThePathLeads) {
  const fs::path former = fs::current_path();
  fs::current_path(directory.path());
  download("relative", std::string(large, 'x'));
  fs::current_path(former);
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(fs::file_size(directory.file("relative")), large);
  EXPECT_THAT(names(), ElementsAre("relative"));
}

TEST_F(DownloadTarget, InADirectoryThatTakesNoFileIsWrittenInPlace) {
  const std::string path = "/proc/self/comm";  // the name of this thread
  std::string former;
  std::getline(std::ifstream(path), former);
  download(path, "downloaded");
  std::string now;
  std::getline(std::ifstream(path), now);
  std::ofstream(path) << former;
  EXPECT_EQ(now, "downloaded");
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(DownloadTarget, ThatIsADirectoryCannotBeOpened) {
  fs::create_directory(directory.file("d"));
  download(directory.file("d"), std::string(large, 'x'));
  EXPECT_THAT(host.errors(), ElementsAre(Error{1, "Image save path open error."}));
  EXPECT_THAT(names(), ElementsAre("d"));
}

TEST_F(DownloadTarget, OfTwoDownloadsAtOnceIsOneOfTheirs) {
  std::thread other([&] {
    ScriptedFetcher fetcherOfOther;
    fetcherOfOther.answerAlways(std::string(large, 'y'));
    KBL::SNRFacebookDownloadMediaTask task(ScriptedFetcher::url(), directory.file("f"), nullptr, nullptr,
                                           fetcherOfOther);
    task.Run();
  });
  download(directory.file("f"), std::string(large, 'x'));
  other.join();
  const std::string stored = directory.read("f");
  EXPECT_TRUE(stored == std::string(large, 'x') || stored == std::string(large, 'y'));
  EXPECT_THAT(names(), ElementsAre("f"));
}

class FileReplacementTest : public testing::TestWithParam<FileReplacement::Name> {
 protected:
  [[nodiscard]] std::size_t nameCount() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory.path()), fs::directory_iterator()));
  }
  TemporaryDirectory directory;
};

INSTANTIATE_TEST_SUITE_P(Names, FileReplacementTest,
                         testing::Values(FileReplacement::Name::none, FileReplacement::Name::own),
                         [](const auto& tested) {
                           return tested.param == FileReplacement::Name::none ? "Nameless" : "Named";
                         });

TEST_P(FileReplacementTest, TakesThePlaceOfAFileAndOfNothing) {
  directory.write("f", "former");
  ASSERT_EQ(::chmod(directory.file("f").c_str(), 0644), 0);
  for (const char* name : {"f", "new"}) {
    const auto replacement = FileReplacement::begin(directory.file(name), GetParam());
    ASSERT_NE(replacement, nullptr);
    ASSERT_TRUE(replacement->append("some", 4));
    ASSERT_TRUE(replacement->append("thing", 5));
    EXPECT_EQ(replacement->putInPlace(), FileReplacement::Outcome::done);
    EXPECT_EQ(directory.read(name), "something");
  }
  EXPECT_EQ(rightsOf(directory.file("f")), 0644U);
  EXPECT_EQ(nameCount(), 2U);
}

TEST_P(FileReplacementTest, LeavesNothingWhenItIsNotPutInPlace) {
  directory.write("f", "former");
  {
    const auto replacement = FileReplacement::begin(directory.file("f"), GetParam());
    ASSERT_NE(replacement, nullptr);
    ASSERT_TRUE(replacement->append("something", 9));
    const bool hasName = GetParam() == FileReplacement::Name::own;
    EXPECT_EQ(nameCount(), hasName ? 2U : 1U);
  }
  EXPECT_EQ(nameCount(), 1U);
  EXPECT_EQ(directory.read("f"), "former");
}

TEST_P(FileReplacementTest, IsReadBackWhereTheTargetCannotBeReplaced) {
  const auto replacement = FileReplacement::begin(directory.file("f"), GetParam());
  ASSERT_NE(replacement, nullptr);
  ASSERT_TRUE(replacement->append("something", 9));
  fs::create_directory(directory.file("f"));
  EXPECT_EQ(replacement->putInPlace(), FileReplacement::Outcome::refused);
  std::array<char, 16> buffer{};
  EXPECT_EQ(replacement->read(4, buffer.data(), buffer.size()), 5U);
  EXPECT_STREQ(buffer.data(), "thing");
  EXPECT_EQ(replacement->read(9, buffer.data(), buffer.size()), 0U);
}

TEST(FileReplacementOf, WhatIsNoOrdinaryFileDoesNotBegin) {
  const TemporaryDirectory directory;
  EXPECT_EQ(FileReplacement::begin(directory.path()), nullptr);
  EXPECT_EQ(FileReplacement::begin("/dev/null"), nullptr);
  EXPECT_EQ(FileReplacement::begin(directory.file("missing/f")), nullptr);
  EXPECT_EQ(FileReplacement::begin("/proc/self/comm"), nullptr);
}
