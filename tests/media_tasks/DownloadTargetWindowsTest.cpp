// The target of a download and who else has it open, as Windows keeps files.
#include "media_tasks/DownloadTargetFixture.h"
#include "support/HandlesWindows.h"

#include <gmock/gmock.h>
#include <windows.h>

#include <memory>
#include <string>

using testing::Each;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

struct CloseLater {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<HANDLE, CloseLater>;

/// As most programs open a file to read it: others may write to it, and not put another in its place.
UniqueHandle openedBySomebody(const std::string& path) {
  const HANDLE handle =
      CreateFileW(std::filesystem::u8path(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  return UniqueHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

TEST_F(DownloadTarget, ThatIsAnOpenFileOfSomebodyIsWrittenInPlace) {
  const std::string path = directory.write("f", std::string(large + 1, 'f'));
  const UniqueHandle reader = openedBySomebody(path);
  ASSERT_NE(reader.get(), nullptr);

  download(path, std::string(large, 'x'));

  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(directory.read("f"), std::string(large, 'x'));
  EXPECT_THAT(names(), Each(Not(StartsWith(".download-"))));
  std::string seen(large + 2, '\0');
  DWORD count = 0;
  ASSERT_NE(ReadFile(reader.get(), seen.data(), static_cast<DWORD>(seen.size()), &count, nullptr), 0);
  EXPECT_EQ(seen.substr(0, count), std::string(large, 'x')) << "by whoever had it open";
}

TEST_F(DownloadTarget, ThatNobodyMayWriteToMeanwhileStaysAsItWas) {
  const std::string path = directory.write("f", "former");
  const UniqueHandle reader(CreateFileW(std::filesystem::u8path(path).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_NE(reader.get(), INVALID_HANDLE_VALUE);

  download(path, std::string(large, 'x'));

  EXPECT_EQ(host.errors().size(), 1U);
  EXPECT_EQ(directory.read("f"), "former");
  EXPECT_THAT(names(), Each(Not(StartsWith(".download-"))));
}

TEST_F(DownloadTarget, IsClosedWhenItsEndIsTold) {
  std::size_t whileItCame = 0;
  std::size_t atItsEnd = 0;
  host.onOther = [&] {
    (host.progress().back().finished == 0 ? whileItCame : atItsEnd) += handlesIn(directory).size();
  };

  download(directory.file("f"), std::string(large, 'x'));

  EXPECT_EQ(host.progress().back().finished, 1);
  EXPECT_GT(whileItCame, 0U);
  EXPECT_EQ(atItsEnd, 0U);
}

}  // namespace
