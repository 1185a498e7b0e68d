#include "foundation/BsNet/system/KeyFileSystem.h"

#include <filesystem>

// windows.h ahead of the others, which need it.
// clang-format off
#include <windows.h>
#include <dpapi.h>
#include <shlobj.h>
// clang-format on

namespace KBL::System {
namespace {

std::wstring wide(const std::string& utf8Path) {
  return std::filesystem::path(std::u8string(utf8Path.begin(), utf8Path.end())).wstring();
}

std::string utf8(const std::wstring& text) {
  const std::u8string converted = std::filesystem::path(text).u8string();
  return {converted.begin(), converted.end()};
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

std::string userDataDirectory() {
  PWSTR folder = nullptr;
  const HRESULT result = SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &folder);
  const std::string path = SUCCEEDED(result) ? utf8(folder) + "/mediatransfer" : "";
  CoTaskMemFree(folder);
  return path;
}

bool publishNewFile(const std::string& from, const std::string& to) {
  if (MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_WRITE_THROUGH) != 0) return true;
  DeleteFileW(wide(from).c_str());
  return false;
}

struct FileLock::Handle {
  HANDLE file;
};

FileLock::FileLock(const std::string& path)
    : handle_(std::make_unique<Handle>(Handle{CreateFileW(wide(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                          OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)})) {
  if (handle_->file == INVALID_HANDLE_VALUE) return;
  OVERLAPPED place{};
  LockFileEx(handle_->file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place);
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

std::optional<std::string> unprotectKey(const std::string& stored) {
  DATA_BLOB sealed = blobOf(stored);
  DATA_BLOB plain{};
  if (CryptUnprotectData(&sealed, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, &plain) ==
      0) {
    return std::nullopt;
  }
  return takeBlob(plain);
}

}  // namespace KBL::System
