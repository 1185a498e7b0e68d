#include "system/ByteOutput.h"

#include <iostream>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#endif

namespace host {
namespace {

/// Where the bytes go; the standard output itself until `keepOutputForBytes`.
int byteOutput = 1;

}  // namespace

#if defined(_WIN32)

void keepOutputForBytes() {
  std::cout.flush();
  const int bytes = _dup(1);
  if (bytes < 0 || _dup2(2, 1) != 0) return;
  // A browser or an interpreter that the program starts has no use for it.
  SetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(bytes)), HANDLE_FLAG_INHERIT, 0);
  _setmode(bytes, _O_BINARY);
  byteOutput = bytes;
}

bool bytesGoToTerminal() {
  return _isatty(byteOutput) != 0;
}

namespace {

/// Has a pipe take what it has room for, so that Ctrl-C is heard. The pipe's end may belong to other programs
/// as well, which it makes wait again afterwards.
class Unwaiting {
 public:
  explicit Unwaiting(HANDLE output) : output_(output), isPipe_(GetFileType(output) == FILE_TYPE_PIPE) {
    set(PIPE_NOWAIT);
  }
  ~Unwaiting() { set(PIPE_WAIT); }
  Unwaiting(const Unwaiting&) = delete;
  Unwaiting& operator=(const Unwaiting&) = delete;

 private:
  void set(DWORD mode) const {
    if (isPipe_) SetNamedPipeHandleState(output_, &mode, nullptr, nullptr);
  }

  const HANDLE output_;
  const bool isPipe_;
};

}  // namespace

BytesSent sendBytes(const char* data, std::size_t size, bool (*isOver)()) {
  constexpr DWORD patienceMs = 10;
  constexpr std::size_t mostAtOnce = 4096;
  const auto output = reinterpret_cast<HANDLE>(_get_osfhandle(byteOutput));
  const Unwaiting unwaiting(output);
  std::size_t atOnce = mostAtOnce;
  while (size > 0) {
    if (isOver()) return BytesSent::interrupted;
    DWORD sent = 0;
    if (WriteFile(output, data, static_cast<DWORD>(size < atOnce ? size : atOnce), &sent, nullptr) == 0)
      return BytesSent::lost;
    data += sent;
    size -= sent;
    // A small pipe may never have room for that much at once.
    atOnce = sent > 0 ? mostAtOnce : (atOnce + 1) / 2;
    if (sent == 0) Sleep(patienceMs);
  }
  return BytesSent::all;
}

#else

void keepOutputForBytes() {
  std::cout.flush();
  // A browser or an interpreter that the program starts has no use for it.
  const int bytes = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  if (bytes < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0) return;
  byteOutput = bytes;
}

bool bytesGoToTerminal() {
  return ::isatty(byteOutput) == 1;
}

BytesSent sendBytes(const char* data, std::size_t size, bool (*isOver)()) {
  constexpr int patienceMs = 100;
  // A pipe that is ready takes as much without making the writer wait, so that Ctrl-C is heard.
  constexpr std::size_t atOnce = PIPE_BUF;
  while (size > 0) {
    pollfd output{byteOutput, POLLOUT, 0};
    const int ready = ::poll(&output, 1, patienceMs);
    if (isOver()) return BytesSent::interrupted;
    if (ready == 0 || (ready < 0 && errno == EINTR)) continue;
    const ssize_t sent = ::write(byteOutput, data, std::min(size, atOnce));
    if (sent < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (sent <= 0) return BytesSent::lost;
    data += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return BytesSent::all;
}

#endif

}  // namespace host
