// What the program does with a console, at one without a window.
#include "system/Terminal.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>

namespace {

/// This process at a console of a program of its own.
class ConsoleTest : public testing::Test {
 protected:
  void SetUp() override {
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    std::wstring line = L"\"" + std::filesystem::path(CONSOLE_KEEPER).make_preferred().wstring() + L"\"";
    ASSERT_NE(CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                             nullptr, &start, &keeper_),
              0);
    FreeConsole();
    // It is attached to once the other has begun.
    for (int tried = 0; tried < 1000 && AttachConsole(keeper_.dwProcessId) == 0; ++tried) Sleep(10);
    ASSERT_NE(GetConsoleOutputCP(), 0U);
  }

  void TearDown() override {
    FreeConsole();
    TerminateProcess(keeper_.hProcess, 0);
    WaitForSingleObject(keeper_.hProcess, INFINITE);
    CloseHandle(keeper_.hThread);
    CloseHandle(keeper_.hProcess);
  }

 private:
  PROCESS_INFORMATION keeper_{};
};

TEST_F(ConsoleTest, ReadsWhatIsWrittenAsUtf8AndAsBeforeInTheEnd) {
  const unsigned former = GetConsoleOutputCP();
  ASSERT_NE(former, CP_UTF8);
  {
    const host::Utf8Console console;
    EXPECT_EQ(GetConsoleOutputCP(), CP_UTF8);
  }
  EXPECT_EQ(GetConsoleOutputCP(), former);
}

}  // namespace
