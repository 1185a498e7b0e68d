#include "system/StandardInput.h"

#include <algorithm>
#include <array>

#if defined(_WIN32)
#include <windows.h>
#else
#include <poll.h>
#include <unistd.h>
#endif

namespace host {
namespace {

/// Far above any address; more without a line end is cut there.
constexpr std::size_t lineLimit = 65536;

enum class Arrived { bytes, nothing, end };

#if defined(_WIN32)

Arrived readSome(std::string& buffer, std::chrono::milliseconds limit) {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  // A program without a console may have none.
  if (input == nullptr || input == INVALID_HANDLE_VALUE) return Arrived::end;
  // A pipe can't be waited for, only looked at. A file can be read at once; a console that was touched in any
  // way is read to the end of a line.
  if (GetFileType(input) == FILE_TYPE_PIPE) {
    DWORD there = 0;
    if (PeekNamedPipe(input, nullptr, 0, nullptr, &there, nullptr) == 0) return Arrived::end;
    if (there == 0) {
      Sleep(static_cast<DWORD>(limit.count()));
      return Arrived::nothing;
    }
  } else {
    const DWORD waited = WaitForSingleObject(input, static_cast<DWORD>(limit.count()));
    if (waited == WAIT_FAILED) return Arrived::end;
    if (waited != WAIT_OBJECT_0) return Arrived::nothing;
  }
  std::array<char, 4096> bytes{};
  DWORD count = 0;
  if (ReadFile(input, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) == 0 || count == 0) {
    return Arrived::end;
  }
  buffer.append(bytes.data(), count);
  return Arrived::bytes;
}

#else

Arrived readSome(std::string& buffer, std::chrono::milliseconds limit) {
  pollfd wanted{STDIN_FILENO, POLLIN, 0};
  if (::poll(&wanted, 1, static_cast<int>(limit.count())) <= 0) return Arrived::nothing;
  std::array<char, 4096> bytes{};
  const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
  if (count <= 0) return Arrived::end;
  buffer.append(bytes.data(), static_cast<std::size_t>(count));
  return Arrived::bytes;
}

#endif

}  // namespace

StandardInput::State StandardInput::next(std::string& line, std::chrono::milliseconds limit) {
  if (takeLine(line)) return State::line;
  if (ended_) return State::ended;
  ended_ = readSome(buffer_, limit) == Arrived::end;
  if (takeLine(line)) return State::line;
  return ended_ ? State::ended : State::nothing;
}

bool StandardInput::takeLine(std::string& line) {
  const std::size_t end = buffer_.find('\n');
  const bool whole = end != std::string::npos || (ended_ && !buffer_.empty());
  if (!whole && buffer_.size() < lineLimit) return false;
  line = buffer_.substr(0, end);
  buffer_.erase(0, std::min(end == std::string::npos ? buffer_.size() : end + 1, buffer_.size()));
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return true;
}

}  // namespace host
