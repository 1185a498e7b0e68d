#include "system/Terminal.h"

#include <KblUtils/Process.h>

#if defined(_WIN32)
#include <windows.h>
// windows.h has to come first
#include <shellapi.h>
#else
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#endif

namespace host {

#if defined(_WIN32)

// The system opens no file in the place of a closed stream, and knows no signal for pipes.
void secureStandardStreams() {}

Utf8Console::Utf8Console() : formerCodePage_(GetConsoleOutputCP()) {
  if (formerCodePage_ != 0) SetConsoleOutputCP(CP_UTF8);
}

Utf8Console::~Utf8Console() {
  if (formerCodePage_ != 0) SetConsoleOutputCP(formerCodePage_);
}

/// Has the console read escape sequences, without which the line of the bar could not be wiped.
static bool isConsole(DWORD stream) {
  const HANDLE output = GetStdHandle(stream);
  DWORD mode = 0;
  if (GetConsoleMode(output, &mode) == 0) return false;
  return SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

bool outputIsTerminal() {
  return isConsole(STD_OUTPUT_HANDLE);
}

static bool errorsAreTerminal() {
  return isConsole(STD_ERROR_HANDLE);
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

void secureStandardStreams() {
  // The lowest free number is taken, which is that of the closed stream.
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) == -1) (void)::open("/dev/null", O_RDWR);
  }
  (void)std::signal(SIGPIPE, SIG_IGN);
}

// Terminals are asked for nothing here.
Utf8Console::Utf8Console() = default;
Utf8Console::~Utf8Console() = default;

bool outputIsTerminal() {
  return isatty(STDOUT_FILENO) == 1;
}

static bool errorsAreTerminal() {
  return isatty(STDERR_FILENO) == 1;
}

int terminalWidth() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::vector<std::string> utf8Arguments(int argc, char** argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

#endif

namespace {

bool coloursAreWanted() {
  return KBL::Environment::variable("NO_COLOR").empty() && KBL::Environment::variable("TERM") != "dumb";
}

}  // namespace

bool outputTakesColours() {
  return outputIsTerminal() && coloursAreWanted();
}

bool errorsTakeColours() {
  return errorsAreTerminal() && coloursAreWanted();
}

}  // namespace host
