#include "system/FileLock.h"

#include <utility>

#if defined(_WIN32)
#include "system/Utf8Path.h"

#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace host {

FileLock::~FileLock() {
  release();
}

#if defined(_WIN32)

FileLock::State FileLock::tryTake(const std::string& path) {
  release();
  constexpr DWORD sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file = CreateFileW(pathFromUtf8(path).c_str(), GENERIC_READ | GENERIC_WRITE, sharing, nullptr,
                                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return State::unusable;
  OVERLAPPED place{};
  if (LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) != 0) {
    file_ = reinterpret_cast<std::intptr_t>(file);
    return State::taken;
  }
  const bool isBusy = GetLastError() == ERROR_LOCK_VIOLATION;
  CloseHandle(file);
  return isBusy ? State::busy : State::unusable;
}

void FileLock::release() {
  if (const std::intptr_t file = std::exchange(file_, none); file != none) {
    CloseHandle(reinterpret_cast<HANDLE>(file));
  }
}

#else

FileLock::State FileLock::tryTake(const std::string& path) {
  release();
  // A browser that the program starts must not hold the lock on.
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
  if (file < 0) return State::unusable;
  int result = 0;
  do {
    result = ::flock(file, LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  if (result == 0) {
    file_ = file;
    return State::taken;
  }
  const bool isBusy = errno == EWOULDBLOCK;
  ::close(file);
  return isBusy ? State::busy : State::unusable;
}

void FileLock::release() {
  if (const std::intptr_t file = std::exchange(file_, none); file != none) ::close(static_cast<int>(file));
}

#endif

}  // namespace host
