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

BytesSent sendBytes(const char* data, std::size_t size, bool (*isOver)()) {
  constexpr std::size_t atOnce = 4096;
  while (size > 0) {
    if (isOver()) return BytesSent::interrupted;
    const int sent = _write(byteOutput, data, static_cast<unsigned>(size < atOnce ? size : atOnce));
    if (sent <= 0) return BytesSent::lost;
    data += sent;
    size -= static_cast<std::size_t>(sent);
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
