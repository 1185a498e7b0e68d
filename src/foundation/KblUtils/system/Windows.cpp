#include "foundation/KblUtils/system/System.h"

// The order matters: the others need what windows.h declares.
// clang-format off
#include <windows.h>
#include <bcrypt.h>
#include <io.h>
// clang-format on

#include <algorithm>
#include <cwchar>
#include <memory>
#include <new>
#include <type_traits>

namespace KBL::System {

namespace {

struct CloseHandleLater {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<HANDLE, CloseHandleLater>;

/// Windows keeps the user's own folders closed to other users, so new files need no rights of their own.
UniqueHandle createExclusively(const std::string& path) {
  const HANDLE handle = CreateFileW(nativePath(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  return UniqueHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

bool writeAll(HANDLE handle, const std::string& contents) {
  constexpr std::size_t largestWrite = std::size_t{1} << 30;
  for (std::size_t done = 0; done < contents.size();) {
    const auto part = static_cast<DWORD>((std::min)(largestWrite, contents.size() - done));
    DWORD written = 0;
    if (!WriteFile(handle, contents.data() + done, part, &written, nullptr) || written == 0) return false;
    done += written;
  }
  return true;
}

}  // namespace

std::FILE* openFile(const std::string& path, const char* mode) {
  // "N" keeps the handle from child processes.
  std::wstring wideMode(mode, mode + std::char_traits<char>::length(mode));
  wideMode += L'N';
  return _wfopen(nativePath(path).c_str(), wideMode.c_str());
}

std::uint64_t fileSize(std::FILE* file) {
  const long long size = _filelengthi64(_fileno(file));
  return size < 0 ? 0 : static_cast<std::uint64_t>(size);
}

bool createPrivateFile(const std::string& path) {
  return createExclusively(path) != nullptr;
}

void makeFilePrivate(const std::string&) {}

bool createPrivateDirectory(const std::string& path) {
  return CreateDirectoryW(nativePath(path).c_str(), nullptr) != 0;
}

bool writeNewPrivateFile(const std::string& path, const std::string& contents) {
  const UniqueHandle handle = createExclusively(path);
  return handle != nullptr && writeAll(handle.get(), contents) && FlushFileBuffers(handle.get()) != 0;
}

bool replaceFile(const std::string& from, const std::string& to) {
  return MoveFileExW(nativePath(from).c_str(), nativePath(to).c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}

bool fillRandom(unsigned char* buffer, std::size_t size) {
  constexpr std::size_t largestRequest = std::size_t{1} << 20;
  for (std::size_t done = 0; done < size;) {
    const auto part = static_cast<ULONG>((std::min)(largestRequest, size - done));
    if (BCryptGenRandom(nullptr, buffer + done, part, BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0) return false;
    done += part;
  }
  return true;
}

bool localTime(std::time_t moment, std::tm& broken) {
  return localtime_s(&broken, &moment) == 0;
}

}  // namespace KBL::System
