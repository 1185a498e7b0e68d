#include "foundation/system/MovesWindows.h"
#include "foundation/system/System.h"
#include "foundation/system/WideText.h"

// The order matters: the others need what windows.h declares.
// clang-format off
#include <windows.h>
#include <bcrypt.h>
#include <dpapi.h>
#include <io.h>
#include <shlobj.h>
// clang-format on

#include <algorithm>
#include <cwchar>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace KBL::System {

std::string utf8Of(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>((std::max)(size, 1)), '\0');
  (void)WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), size, nullptr, nullptr);
  narrow.pop_back();
  return narrow;
}

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

/// What the system says of contents that it never sealed. All else may pass: a profile that is not loaded
/// yet, a password that was reset and comes back, a service that does not answer.
bool isOfNoKey(DWORD error) {
  return error == ERROR_INVALID_DATA || error == ERROR_INVALID_PARAMETER ||
         error == static_cast<DWORD>(NTE_BAD_DATA);
}

DATA_BLOB blobOf(const std::string& bytes) {
  // The calls do not write to their input, though its type lets them.
  return {static_cast<DWORD>(bytes.size()), reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))};
}

std::string takeBlob(DATA_BLOB& blob) {
  std::string bytes(reinterpret_cast<const char*>(blob.pbData), blob.cbData);
  SecureZeroMemory(blob.pbData, blob.cbData);
  LocalFree(blob.pbData);
  return bytes;
}

}  // namespace

std::size_t leadingSlashes() {
  return 2;  // "//server/share"
}

UniqueFile openFile(const std::string& path, const char* mode) {
  // "N" keeps the handle from child processes.
  std::wstring wideMode(mode, mode + std::char_traits<char>::length(mode));
  wideMode += L'N';
  UniqueFile file(_wfopen(nativePath(path).c_str(), wideMode.c_str()));
  // Whoever reads a pipe, a console or a port waits for somebody.
  const bool isFile =
      file != nullptr &&
      GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file.get())))) == FILE_TYPE_DISK;
  return isFile ? std::move(file) : nullptr;
}

void keepFromChildren(std::FILE* file) {
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
  if (handle != INVALID_HANDLE_VALUE) (void)SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
}

std::uint64_t fileSize(std::FILE* file) {
  const long long size = _filelengthi64(_fileno(file));
  return size < 0 ? 0 : static_cast<std::uint64_t>(size);
}

std::optional<FileVersion> fileVersion(const std::string&) {
  return std::nullopt;
}

bool seekFile(std::FILE* file, std::uint64_t place) {
  return _fseeki64(file, static_cast<long long>(place), SEEK_SET) == 0;
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

bool bringFileToDisk(const std::string& path) {
  const HANDLE handle = CreateFileW(nativePath(path).c_str(), GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return false;
  const UniqueHandle file(handle);
  return FlushFileBuffers(file.get()) != 0;
}

bool replaceFile(const std::string& from, const std::string& to) {
  const std::filesystem::path source = nativePath(from);
  const std::filesystem::path target = nativePath(to);
  if (isFolderOrReadOnly(target)) return false;
  return withPatience([&] {
    return MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) !=
           0;
  });
}

std::string userDataDirectory() {
  PWSTR folder = nullptr;
  const HRESULT result = SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &folder);
  const std::string path = SUCCEEDED(result) ? utf8Of(folder) + "/mediatransfer" : "";
  CoTaskMemFree(folder);
  return path;
}

bool publishNewFile(const std::string& from, const std::string& to) {
  const std::filesystem::path source = nativePath(from);
  const std::filesystem::path target = nativePath(to);
  if (withPatience([&] { return MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH) != 0; }))
    return true;
  DeleteFileW(source.c_str());
  return false;
}

struct FileLock::Handle {
  HANDLE file;
  bool isLocked = false;
};

FileLock::FileLock(const std::string& path)
    : handle_(std::make_unique<Handle>(Handle{CreateFileW(
          nativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
          OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)})) {
  if (handle_->file == INVALID_HANDLE_VALUE) return;
  OVERLAPPED place{};
  handle_->isLocked = LockFileEx(handle_->file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place) != 0;
}

bool FileLock::isHeld() const {
  return handle_->isLocked;
}

FileLock::~FileLock() {
  if (handle_->file != INVALID_HANDLE_VALUE) CloseHandle(handle_->file);
}

std::optional<std::string> protectKey(const std::string& key) {
  DATA_BLOB plain = blobOf(key);
  DATA_BLOB sealed{};
  if (CryptProtectData(&plain, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, &sealed) == 0) {
    return std::nullopt;
  }
  return takeBlob(sealed);
}

UnprotectedKey unprotectKey(const std::string& stored) {
  using State = UnprotectedKey::State;
  DATA_BLOB sealed = blobOf(stored);
  DATA_BLOB plain{};
  if (CryptUnprotectData(&sealed, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, &plain) ==
      0) {
    const DWORD error = GetLastError();
    return {isOfNoKey(error) ? State::damaged : State::notNow, {}, std::to_string(error)};
  }
  return {State::good, takeBlob(plain)};
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
