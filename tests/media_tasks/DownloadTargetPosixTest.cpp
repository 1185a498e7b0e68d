// The target of a download under limits, links, rights and devices as POSIX systems have them.
#include "foundation/system/FileReplacement.h"
#include "foundation/system/System.h"
#include "media_tasks/DownloadTargetFixture.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>

using KBL::System::FileReplacement;
namespace System = KBL::System;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using Error = MediaHost::Error;
using Progress = MediaHost::Progress;
namespace fs = std::filesystem;

namespace {

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

TEST(FileReplacementRights, AreThoseOfTheTarget) {
  const TemporaryDirectory directory;
  for (const auto name : {FileReplacement::Name::none, FileReplacement::Name::own}) {
    const std::string path = directory.write("f", "former");
    ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
    const auto replacement = FileReplacement::begin(path, name);
    ASSERT_NE(replacement, nullptr);
    ASSERT_TRUE(replacement->append("something", 9));
    EXPECT_EQ(replacement->putInPlace(), FileReplacement::Outcome::done);
    EXPECT_EQ(rightsOf(path), 0644U);
  }
}

TEST(FileReplacementOf, WhatIsNoOrdinaryFileDoesNotBegin) {
  EXPECT_EQ(FileReplacement::begin("/dev/null"), nullptr);
  EXPECT_EQ(FileReplacement::begin("/proc/self/comm"), nullptr);
}
