#include "system/StandardInput.h"

#include <algorithm>
#include <array>

#if defined(_WIN32)
#include "system/neverFreed.h"

#include <windows.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
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

bool isConsole(HANDLE input) {
  DWORD mode = 0;
  return GetConsoleMode(input, &mode) != 0;
}

/// A line as UTF-8. Empty at the end, which is Ctrl-Z at the beginning of a line.
std::string lineOfConsole(HANDLE input) {
  constexpr wchar_t ctrlZ = 0x1A;
  std::array<wchar_t, 8192> letters{};
  DWORD count = 0;
  BOOL isRead = FALSE;
  do {
    SetLastError(ERROR_SUCCESS);
    isRead = ReadConsoleW(input, letters.data(), static_cast<DWORD>(letters.size()), &count, nullptr);
    // Ctrl-C ends the call and not the input.
  } while ((isRead == 0 || count == 0) && GetLastError() == ERROR_OPERATION_ABORTED);
  if (isRead == 0 || count == 0 || letters[0] == ctrlZ) return {};
  const auto convert = [&](char* text, int size) {
    return WideCharToMultiByte(CP_UTF8, 0, letters.data(), static_cast<int>(count), text, size, nullptr,
                               nullptr);
  };
  std::string line(static_cast<std::size_t>(convert(nullptr, 0)), '\0');
  (void)convert(line.data(), static_cast<int>(line.size()));
  return line;
}

/// Empty at the end.
std::string bytesOf(HANDLE input) {
  std::array<char, 4096> bytes{};
  DWORD count = 0;
  if (ReadFile(input, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) == 0) return {};
  return {bytes.data(), count};
}

/// What comes of an input that nobody can wait for without reading it: a thread of its own does, while others
/// go on. Any mouse or key wakes who waits for a console, and whoever reads it then waits for a whole line,
/// which is shown and mended meanwhile. One object a process.
class Reader {
 public:
  /// What was asked for before comes to the next call.
  Arrived take(std::string& buffer, std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    // It may wait for a key until the process ends.
    if (thread_ == nullptr) thread_ = new std::thread([this] { readWhatIsWanted(); });
    if (state_ == State::idle) {
      state_ = State::wanted;
      changed_.notify_all();
    }
    if (!changed_.wait_for(lock, limit, [this] { return state_ == State::there; })) return Arrived::nothing;
    state_ = State::idle;
    buffer += piece_;
    return piece_.empty() ? Arrived::end : Arrived::bytes;
  }

 private:
  enum class State { idle, wanted, there };

  void readWhatIsWanted() {
    for (;;) {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return state_ == State::wanted; });
      lock.unlock();
      const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
      std::string piece = isConsole(input) ? lineOfConsole(input) : bytesOf(input);
      lock.lock();
      piece_ = std::move(piece);
      state_ = State::there;
      changed_.notify_all();
    }
  }

  std::thread* thread_ = nullptr;
  std::mutex mutex_;
  std::condition_variable changed_;
  State state_ = State::idle;
  std::string piece_;
};

Reader& reader() {
  static Reader& instance = neverFreed<Reader>();
  return instance;
}

Arrived readSome(std::string& buffer, std::chrono::milliseconds limit) {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  // A program without a console may have none.
  if (input == nullptr || input == INVALID_HANDLE_VALUE) return Arrived::end;
  if (isConsole(input)) return reader().take(buffer, limit);
  // A pipe can't be waited for, only looked at; sockets count as pipes, and not even that can be done. A file
  // can be read at once.
  if (GetFileType(input) == FILE_TYPE_PIPE) {
    DWORD there = 0;
    if (PeekNamedPipe(input, nullptr, 0, nullptr, &there, nullptr) == 0) {
      return GetLastError() == ERROR_BROKEN_PIPE ? Arrived::end : reader().take(buffer, limit);
    }
    if (there == 0) {
      Sleep(static_cast<DWORD>(limit.count()));
      return Arrived::nothing;
    }
  }
  const std::string bytes = bytesOf(input);
  buffer += bytes;
  return bytes.empty() ? Arrived::end : Arrived::bytes;
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
