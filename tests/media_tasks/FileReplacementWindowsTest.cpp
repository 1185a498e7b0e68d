// Targets that somebody has open, which keeps them from being replaced there, and what the system leaves
// midway.
#include "foundation/system/FileReplacement.h"
#include "foundation/system/MovesWindows.h"
#include "media_tasks/DownloadTargetFixture.h"

#include <gmock/gmock.h>
#include <windows.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <thread>

using KBL::System::FileReplacement;
using testing::ElementsAre;
namespace fs = std::filesystem;

namespace {

class Reader {
 public:
  explicit Reader(const fs::path& path, DWORD sharing = FILE_SHARE_READ | FILE_SHARE_WRITE)
      : file_(CreateFileW(path.c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                          nullptr)) {
    EXPECT_NE(file_, INVALID_HANDLE_VALUE);
  }
  ~Reader() { leave(); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  void leave() {
    if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
    file_ = INVALID_HANDLE_VALUE;
  }
  [[nodiscard]] std::jthread leaveSoon() {
    return std::jthread([this] {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      leave();
    });
  }

 private:
  HANDLE file_;
};

}  // namespace

TEST_F(DownloadTarget, ThatIsReadForAMomentIsReplacedAllTheSame) {
  directory.write("f", "former");
  const auto replacement = FileReplacement::begin(directory.file("f"));
  ASSERT_NE(replacement, nullptr);
  ASSERT_TRUE(replacement->append("something", 9));
  Reader reader(directory.path() / "f");
  const std::jthread leaving = reader.leaveSoon();

  EXPECT_EQ(replacement->putInPlace(), FileReplacement::Outcome::done);

  EXPECT_EQ(directory.read("f"), "something");
  EXPECT_THAT(names(), ElementsAre("f"));
}

TEST_F(DownloadTarget, ThatIsWrittenInPlaceWaitsForAReaderWhoSharesNoWriting) {
  directory.write("f", "former");
  Reader reader(directory.path() / "f", FILE_SHARE_READ);
  const std::jthread leaving = reader.leaveSoon();

  EXPECT_NE(KBL::System::openInPlace(directory.file("f")), nullptr);
}

TEST_F(DownloadTarget, OfTheNarrowEncodingHasASize) {
  std::array<char, 8> letter{};
  ASSERT_GT(WideCharToMultiByte(CP_ACP, 0, L"\u00FC", -1, letter.data(), letter.size(), nullptr, nullptr), 0);
  directory.write("\u00FC", "seven b");

  EXPECT_EQ(KBL::System::sizeOfTarget(directory.file("") + letter.data()), 7U);
  EXPECT_EQ(KBL::System::sizeOfTarget(directory.file("nothing")), std::nullopt);
}

/// A replacement that stops where the target has its other name already, as the system's may.
KBL::System::MoveCalls stoppingMidway() {
  KBL::System::MoveCalls calls = KBL::System::systemMoves();
  calls.replace = [move = calls.move](const fs::path& target, const fs::path&, const fs::path& former) {
    EXPECT_TRUE(move(target, former));
    SetLastError(ERROR_UNABLE_TO_MOVE_REPLACEMENT_2);
    return false;
  };
  return calls;
}

TEST_F(DownloadTarget, WhoseReplacementStopsMidwayIsReplacedByMoves) {
  directory.write("f", "former");
  directory.write("new", "new");

  EXPECT_TRUE(KBL::System::replaceKeepingRights(directory.path() / "f", directory.path() / "new",
                                                directory.path() / "aside", stoppingMidway()));

  EXPECT_EQ(directory.read("f"), "new");
  EXPECT_THAT(names(), ElementsAre("f"));
}

TEST_F(DownloadTarget, WhoseReplacementCannotGoOnIsAsItWas) {
  directory.write("f", "former");
  directory.write("new", "new");
  KBL::System::MoveCalls calls = stoppingMidway();
  calls.move = [move = calls.move](const fs::path& from, const fs::path& to) {
    if (from.filename() != "new") return move(from, to);
    SetLastError(ERROR_DISK_FULL);
    return false;
  };

  EXPECT_FALSE(KBL::System::replaceKeepingRights(directory.path() / "f", directory.path() / "new",
                                                 directory.path() / "aside", calls));

  EXPECT_EQ(directory.read("f"), "former");
  EXPECT_EQ(directory.read("new"), "new");
  EXPECT_EQ(names().size(), 2U);
}
