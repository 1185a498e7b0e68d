// What the program does with a console, at one without a window.
#include "system/StandardInput.h"
#include "system/Terminal.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using host::StandardInput;
using std::chrono::milliseconds;
using std::chrono::seconds;

INPUT_RECORD key(wchar_t letter, bool isDown = true) {
  INPUT_RECORD record{};
  record.EventType = KEY_EVENT;
  record.Event.KeyEvent.bKeyDown = isDown ? TRUE : FALSE;
  record.Event.KeyEvent.wRepeatCount = 1;
  record.Event.KeyEvent.wVirtualKeyCode = letter == L'\r' ? VK_RETURN : 0;
  record.Event.KeyEvent.uChar.UnicodeChar = letter;
  return record;
}

INPUT_RECORD event(WORD kind) {
  INPUT_RECORD record{};
  record.EventType = kind;
  return record;
}

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
    input_ = CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(input_, INVALID_HANDLE_VALUE);
    SetStdHandle(STD_INPUT_HANDLE, input_);
  }

  void TearDown() override {
    SetStdHandle(STD_INPUT_HANDLE, formerInput_);
    CloseHandle(input_);
    FreeConsole();
    TerminateProcess(keeper_.hProcess, 0);
    WaitForSingleObject(keeper_.hProcess, INFINITE);
    CloseHandle(keeper_.hThread);
    CloseHandle(keeper_.hProcess);
  }

  void send(const std::vector<INPUT_RECORD>& records) {
    DWORD written = 0;
    ASSERT_NE(WriteConsoleInputW(input_, records.data(), static_cast<DWORD>(records.size()), &written), 0);
    ASSERT_EQ(written, records.size());
  }

  void type(const std::wstring& text) {
    std::vector<INPUT_RECORD> keys;
    for (const wchar_t letter : text) keys.insert(keys.end(), {key(letter), key(letter, false)});
    send(keys);
  }

 private:
  const HANDLE formerInput_ = GetStdHandle(STD_INPUT_HANDLE);
  HANDLE input_ = INVALID_HANDLE_VALUE;
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

TEST_F(ConsoleTest, IsReadByTheLineAndKeepsNobodyWaiting) {
  StandardInput input;
  std::string line;
  EXPECT_EQ(input.next(line, milliseconds(0)), StandardInput::State::nothing);
  send({event(FOCUS_EVENT), event(MOUSE_EVENT), event(MENU_EVENT), key(L'x', false)});
  type(L"http");
  EXPECT_EQ(input.next(line, milliseconds(200)), StandardInput::State::nothing);

  type(L"://\u00FC.example\r");
  ASSERT_EQ(input.next(line, seconds(20)), StandardInput::State::line);
  EXPECT_EQ(line, "http://\u00FC.example");

  type(std::wstring(3000, L'a') + L"\r");
  ASSERT_EQ(input.next(line, seconds(20)), StandardInput::State::line);
  EXPECT_EQ(line, std::string(3000, 'a'));

  type(L"\u001A\r");
  EXPECT_EQ(input.next(line, seconds(20)), StandardInput::State::ended);
  EXPECT_EQ(input.next(line, seconds(0)), StandardInput::State::ended);
}

}  // namespace
