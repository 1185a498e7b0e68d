#include "Terminal.h"

#if defined(_WIN32)
#include <windows.h>
// windows.h has to come first
#include <shellapi.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace host {

#if defined(_WIN32)

bool outputIsTerminal() {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  if (GetConsoleMode(output, &mode) == 0) return false;
  SetConsoleOutputCP(CP_UTF8);
  // Without it the line of the bar could not be wiped.
  return SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

int terminalWidth() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0) return 80;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

std::vector<std::string> utf8Arguments(int, char**) {
  std::vector<std::string> arguments;
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide == nullptr) return arguments;
  for (int i = 1; i < count; ++i) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(size > 0 ? size : 1), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, text.data(), size, nullptr, nullptr);
    text.pop_back();
    arguments.push_back(text);
  }
  LocalFree(wide);
  return arguments;
}

#else

bool outputIsTerminal() {
  return isatty(STDOUT_FILENO) == 1;
}

int terminalWidth() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::vector<std::string> utf8Arguments(int argc, char** argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

#endif

}  // namespace host
