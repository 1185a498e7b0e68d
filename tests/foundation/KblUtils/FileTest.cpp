#include "support/TemporaryDirectory.h"
#include <KblUtils/FileStream.h>
#include <KblUtils/FileUtil.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

using KBL::FileStream;
using KBL::FileUtil;
using KBL::Path;

namespace fs = std::filesystem;

namespace {

const std::string nonAscii = "K\xC3\xA4se \xE6\xB5\x8B\xE8\xAF\x95 \xF0\x9F\x8E\xA5.mp4";

}  // namespace

TEST(FileUtil, TellsExistenceAndSize) {
  const TemporaryDirectory directory;
  const Path path(directory.file(nonAscii));
  EXPECT_FALSE(FileUtil::exists(path));
  EXPECT_EQ(FileUtil::size(path), 0U);

  directory.write(nonAscii, "12345");

  EXPECT_TRUE(FileUtil::exists(path));
  EXPECT_EQ(FileUtil::size(path), 5U);
  EXPECT_TRUE(FileUtil::exists(Path(directory.file(""))));
  EXPECT_EQ(FileUtil::size(Path(directory.file(""))), 0U);
  EXPECT_FALSE(FileUtil::exists(Path("")));
}

TEST(FileUtil, RemovesFilesOnce) {
  const TemporaryDirectory directory;
  const Path path(directory.write(nonAscii, "x"));

  EXPECT_TRUE(FileUtil::remove(path));
  EXPECT_FALSE(FileUtil::exists(path));
  EXPECT_FALSE(FileUtil::remove(path));
  EXPECT_FALSE(FileUtil::remove(Path(directory.file("")))) << "a directory is no file";
}

TEST(FileUtil, SizesBeyondFourGigabytesAreWhole) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("sparse", "");
  constexpr std::uint64_t fiveGigabytes = std::uint64_t{5} << 30;
  fs::resize_file(path, fiveGigabytes);

  EXPECT_EQ(FileUtil::size(Path(path)), fiveGigabytes);
}

TEST(FileUtil, MakesADirectoryWithItsParents) {
  const TemporaryDirectory directory;
  const Path path(directory.file("a/\xE6\xB5\x8B/c/"));

  EXPECT_TRUE(FileUtil::makePrivateDirectory(path));
  EXPECT_TRUE(FileUtil::makePrivateDirectory(path));

  EXPECT_TRUE(fs::is_directory(directory.path() / u8"a/\u6D4B/c"));
  EXPECT_FALSE(FileUtil::makePrivateDirectory(Path("")));
  EXPECT_FALSE(FileUtil::makePrivateDirectory(Path(directory.write("file", "") + "/below")));
  EXPECT_FALSE(FileUtil::makePrivateDirectory(Path(directory.file("file"))));
}

TEST(FileUtil, DirectoryMadeByManyThreadsAtOnceStandsForAll) {
  const TemporaryDirectory directory;
  std::atomic<int> stands = 0;
  std::vector<std::thread> workers;
  for (int worker = 0; worker < 8; ++worker) {
    workers.emplace_back([&] {
      if (FileUtil::makePrivateDirectory(Path(directory.file("a/b/c/d/e/f")))) ++stands;
    });
  }
  for (std::thread& worker : workers) worker.join();

  EXPECT_EQ(stands, 8);
}

TEST(FileUtil, WritesAPrivateFileAsAWhole) {
  const TemporaryDirectory directory;
  const Path path(directory.file(nonAscii));
  const std::string large(300'000, 'x');

  EXPECT_TRUE(FileUtil::writePrivateFile(path, "first"));
  EXPECT_EQ(directory.read(nonAscii), "first");
  EXPECT_TRUE(FileUtil::writePrivateFile(path, large));
  EXPECT_EQ(directory.read(nonAscii), large);
  EXPECT_TRUE(FileUtil::writePrivateFile(path, ""));
  EXPECT_EQ(directory.read(nonAscii), "");

  EXPECT_EQ(directory.entries(), 1U) << "something was left beside the file";
}

TEST(FileUtil, FailedPrivateFileLeavesNothingBeside) {
  const TemporaryDirectory directory;
  fs::create_directories(directory.path() / "taken" / "full");

  EXPECT_FALSE(FileUtil::writePrivateFile(Path(directory.file("taken")), "x"));
  EXPECT_FALSE(FileUtil::writePrivateFile(Path(directory.file("missing/file")), "x"));

  EXPECT_EQ(directory.entries(), 1U);
}

#if !defined(_WIN32)
TEST(FileUtil, WhatItMakesIsForTheOwnerOnly) {
  const TemporaryDirectory directory;
  ASSERT_TRUE(FileUtil::makePrivateDirectory(Path(directory.file("a/b"))));
  ASSERT_TRUE(FileUtil::writePrivateFile(Path(directory.file("a/b/key")), "x"));

  EXPECT_EQ(fs::status(directory.path() / "a").permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(directory.path() / "a/b").permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(directory.path() / "a/b/key").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
}
#endif

TEST(FileStream, ReadsOnFromPlaceToPlace) {
  const TemporaryDirectory directory;
  const Path path(directory.write(nonAscii, "0123456789"));
  FileStream file;
  ASSERT_TRUE(file.open(path, "rb"));
  char buffer[8] = {};

  EXPECT_EQ(file.size(), 10U);
  EXPECT_EQ(file.read(buffer, 4), 4U);
  EXPECT_EQ(std::string(buffer, 4), "0123");
  EXPECT_EQ(file.read(buffer, 8), 6U);
  EXPECT_EQ(std::string(buffer, 6), "456789");
  EXPECT_EQ(file.read(buffer, 8), 0U);
  EXPECT_EQ(file.size(), 10U);
}

TEST(FileStream, GoesToAPlaceAndReadsOnFromThere) {
  const TemporaryDirectory directory;
  FileStream file;
  EXPECT_FALSE(file.seek(0));
  ASSERT_TRUE(file.open(Path(directory.write("file", "0123456789")), "rb"));
  std::array<char, 4> buffer{};

  ASSERT_TRUE(file.seek(7));
  EXPECT_EQ(file.read(buffer.data(), 4), 3U);
  ASSERT_TRUE(file.seek(2));
  EXPECT_EQ(file.read(buffer.data(), 4), 4U);

  EXPECT_EQ(std::string(buffer.data(), 4), "2345");
}

TEST(FileStream, WritesWhatIsReadBehindItsClosing) {
  const TemporaryDirectory directory;
  FileStream file;
  EXPECT_FALSE(file.write("x", 1));
  EXPECT_FALSE(file.close());
  ASSERT_TRUE(file.open(Path(directory.file(nonAscii)), "wb"));
  EXPECT_TRUE(file.write("a\r\n", 3));
  EXPECT_TRUE(file.write("b", 1));
  EXPECT_TRUE(file.close());
  EXPECT_EQ(directory.read(nonAscii), "a\r\nb");
  EXPECT_FALSE(file.close());
}

#if defined(__linux__)
TEST(FileStream, TellsAtItsClosingThatTheDiskIsFull) {
  FileStream file;
  ASSERT_TRUE(file.open(Path("/dev/full"), "wb"));
  EXPECT_TRUE(file.write("kept in memory", 14));
  EXPECT_FALSE(file.close());
}
#endif

TEST(FileStream, OpensNeitherMissingFilesNorDirectories) {
  const TemporaryDirectory directory;
  FileStream file;
  char buffer[4] = {};

  EXPECT_FALSE(file.open(Path(directory.file("missing")), "rb"));
  EXPECT_FALSE(file.open(Path(directory.file("")), "rb"));
  EXPECT_FALSE(file.open(Path(directory.file("missing")), nullptr));

  EXPECT_EQ(file.size(), 0U);
  EXPECT_EQ(file.read(buffer, 4), 0U);
}

TEST(FileStream, FailedOpenClosesWhatWasOpen) {
  const TemporaryDirectory directory;
  FileStream file;
  ASSERT_TRUE(file.open(Path(directory.write("one", "1")), "rb"));

  EXPECT_FALSE(file.open(Path(directory.file("missing")), "rb"));

  EXPECT_EQ(file.size(), 0U);
}

TEST(FileStream, SizesBeyondFourGigabytesAreWhole) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("sparse", "begin");
  constexpr std::uint64_t fiveGigabytes = std::uint64_t{5} << 30;
  fs::resize_file(path, fiveGigabytes);
  FileStream file;
  ASSERT_TRUE(file.open(Path(path), "rb"));
  char buffer[5] = {};

  EXPECT_EQ(file.size(), fiveGigabytes);
  EXPECT_EQ(file.read(buffer, 5), 5U);
  EXPECT_EQ(std::string(buffer, 5), "begin");
}
