// Files that somebody else has open, which keeps them from being replaced there.
#include "foundation/system/System.h"
#include "support/TemporaryDirectory.h"
#include <KblUtils/FileUtil.h>

// clang-format off
#include <windows.h>
// clang-format on

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace {

using KBL::FileUtil;
using KBL::Path;

HANDLE openWithoutSharingDeletion(const std::filesystem::path& path) {
  return CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

TEST(FileSharing, AReaderDelaysAReplacementAndDoesNotSpoilIt) {
  const TemporaryDirectory folder;
  folder.write("file", "old");
  const HANDLE reader = openWithoutSharingDeletion(folder.path() / "file");
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  const std::jthread leaving([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    CloseHandle(reader);
  });

  EXPECT_TRUE(FileUtil::writePrivateFile(Path(folder.file("file")), "new"));
  EXPECT_EQ(folder.read("file"), "new");
}

TEST(FileSharing, AReaderDelaysAPublicationAndDoesNotSpoilIt) {
  const TemporaryDirectory folder;
  folder.write("made", "new");
  const HANDLE reader = openWithoutSharingDeletion(folder.path() / "made");
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  const std::jthread leaving([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    CloseHandle(reader);
  });

  EXPECT_TRUE(KBL::System::publishNewFile(folder.file("made"), folder.file("file")));
  EXPECT_EQ(folder.read("file"), "new");
}

TEST(FileSharing, AReaderOfWhatCameTooLateLeavesNothingOfItBehind) {
  const TemporaryDirectory folder;
  folder.write("file", "first");
  folder.write("made", "second");
  const HANDLE reader = openWithoutSharingDeletion(folder.path() / "made");
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  const std::jthread leaving([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    CloseHandle(reader);
  });

  EXPECT_FALSE(KBL::System::publishNewFile(folder.file("made"), folder.file("file")));
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "made"));
  EXPECT_EQ(folder.read("file"), "first");
}

TEST(FileSharing, AFolderIsNotWaitedFor) {
  const TemporaryDirectory folder;
  std::filesystem::create_directory(folder.path() / "target");
  const auto begin = std::chrono::steady_clock::now();

  EXPECT_FALSE(FileUtil::writePrivateFile(Path(folder.file("target")), "new"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
}

}  // namespace
