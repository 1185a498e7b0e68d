#include "sandbox/system/DiskFile.h"

#include <windows.h>

#include <stdexcept>

namespace sandbox {

namespace {

/// The user's own folders are closed to other users, so new files need no rights of their own.
HANDLE openForOwner(const std::string& path, DWORD sharing, DWORD creation) {
  const HANDLE handle = CreateFileW(nativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, sharing, nullptr,
                                    creation, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) throw std::runtime_error("can't open " + path);
  return handle;
}

bool writeAll(HANDLE handle, const std::string& text) {
  std::size_t at = 0;
  while (at < text.size()) {
    constexpr std::size_t largestPart = std::size_t{1} << 30;
    const std::size_t left = text.size() - at;
    DWORD written = 0;
    const auto part = static_cast<DWORD>(left < largestPart ? left : largestPart);
    if (WriteFile(handle, text.data() + at, part, &written, nullptr) == 0 || written == 0) return false;
    at += written;
  }
  return true;
}

}  // namespace

FileLock::FileLock(const std::string& path)
    : handle_(reinterpret_cast<std::intptr_t>(
          openForOwner(path, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS))) {
  OVERLAPPED place{};
  LockFileEx(reinterpret_cast<HANDLE>(handle_), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place);
}

FileLock::~FileLock() {
  OVERLAPPED place{};
  UnlockFileEx(reinterpret_cast<HANDLE>(handle_), 0, 1, 0, &place);
  CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

void writeDurably(const std::string& path, const std::string& text) {
  const HANDLE handle = openForOwner(path, 0, CREATE_ALWAYS);
  const bool written = writeAll(handle, text) && FlushFileBuffers(handle) != 0;
  CloseHandle(handle);
  if (!written) throw std::runtime_error("can't write " + path);
}

}  // namespace sandbox
