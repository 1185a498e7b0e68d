#include "sandbox/system/DiskFile.h"

#include <windows.h>

#include <stdexcept>

namespace sandbox {

namespace {

/// The user's own folders are closed to other users, so new files need no rights of their own.
HANDLE openForOwner(const std::string& path) {
  const HANDLE handle =
      CreateFileW(nativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) throw std::runtime_error("can't open " + path);
  return handle;
}

}  // namespace

FileLock::FileLock(const std::string& path) : handle_(reinterpret_cast<std::intptr_t>(openForOwner(path))) {
  OVERLAPPED place{};
  LockFileEx(reinterpret_cast<HANDLE>(handle_), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place);
}

FileLock::~FileLock() {
  OVERLAPPED place{};
  UnlockFileEx(reinterpret_cast<HANDLE>(handle_), 0, 1, 0, &place);
  CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

void makeForOwner(const std::string& path) {
  const HANDLE handle =
      CreateFileW(nativePath(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
  if (handle == INVALID_HANDLE_VALUE && GetLastError() != ERROR_FILE_EXISTS)
    throw std::runtime_error("can't make " + path);
}

}  // namespace sandbox
