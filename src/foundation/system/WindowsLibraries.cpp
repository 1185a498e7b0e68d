#include "foundation/system/System.h"
#include "foundation/system/WideText.h"

// The order matters: the others need what windows.h declares.
// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <algorithm>
#include <array>
#include <cwchar>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>

namespace KBL::System {

namespace {

constexpr std::size_t longestVariable = 32767;  // the system's own limit

std::string fileNameOf(HMODULE library) {
  std::array<wchar_t, 32768> path{};
  const DWORD size = GetModuleFileNameW(library, path.data(), static_cast<DWORD>(path.size() - 1));
  return size == 0 ? std::string() : utf8Of(path.data());
}

/// What the system says of an error, without the end of its line.
std::string messageOf(DWORD error) {
  constexpr DWORD how =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  wchar_t* text = nullptr;
  if (FormatMessageW(how, nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr) == 0)
    return "error " + std::to_string(error);
  const std::unique_ptr<wchar_t, decltype(&LocalFree)> kept(text, &LocalFree);
  std::string message = utf8Of(text);
  while (!message.empty() && (message.back() == '\r' || message.back() == '\n')) message.pop_back();
  return message;
}

/// The library that a function's own code lies in, held by a reference of its own; null when that fails.
HMODULE libraryOf(FARPROC function) {
  HMODULE library = nullptr;
  const BOOL found = GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                                        reinterpret_cast<LPCWSTR>(function), &library);
  return found != 0 ? library : nullptr;
}

struct FreeLibraryLater {
  using pointer = HMODULE;
  void operator()(HMODULE library) const { (void)FreeLibrary(library); }
};
using UniqueLibrary = std::unique_ptr<HMODULE, FreeLibraryLater>;

/// A reference to a library that may be going; null when it has gone.
UniqueLibrary held(HMODULE library) {
  return UniqueLibrary(libraryOf(reinterpret_cast<FARPROC>(library)));
}

/// While it stands, what is wrong with a library is told to us alone, and not to people by the system.
class NoDialogs {
 public:
  NoDialogs() { SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &former_); }
  ~NoDialogs() { SetThreadErrorMode(former_, nullptr); }
  NoDialogs(const NoDialogs&) = delete;
  NoDialogs& operator=(const NoDialogs&) = delete;

 private:
  DWORD former_ = 0;
};

/// What it needs lies beside it, or is the program's own or the system's: never in the current folder.
HMODULE loadFile(const std::filesystem::path& file) {
  return LoadLibraryExW(file.c_str(), nullptr,
                        LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
}

/// The folders of the search path; one that depends on the current folder is none of them.
std::vector<std::filesystem::path> searchFolders() {
  std::wstring all(longestVariable + 1, L'\0');
  const DWORD size = GetEnvironmentVariableW(L"PATH", all.data(), static_cast<DWORD>(all.size()));
  all.resize(size > longestVariable ? 0 : size);
  std::vector<std::filesystem::path> folders;
  std::wistringstream entries(all);
  for (std::wstring entry; std::getline(entries, entry, L';');) {
    std::erase(entry, L'"');
    if (std::filesystem::path folder(entry); folder.is_absolute()) folders.push_back(std::move(folder));
  }
  return folders;
}

/// A library without a folder is the program's own or the system's, or lies on the search path. Windows
/// itself would take one from the current folder, where anybody may have put it.
HMODULE loadByName(const std::filesystem::path& name) {
  const HMODULE library = LoadLibraryExW(name.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  if (library != nullptr) return library;
  for (const std::filesystem::path& folder : searchFolders()) {
    const std::filesystem::path file = folder / name;
    if (GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES) continue;
    return loadFile(file);
  }
  SetLastError(ERROR_MOD_NOT_FOUND);
  return nullptr;
}

}  // namespace

void* openLibrary(const std::string& path, std::string& reason) {
  const NoDialogs noDialogs;
  // The loader wants the system's own separators.
  const std::filesystem::path file = nativePath(path).make_preferred();
  std::error_code unknown;
  const HMODULE library =
      file.has_parent_path() ? loadFile(std::filesystem::absolute(file, unknown)) : loadByName(file);
  if (library != nullptr) return library;
  reason = messageOf(GetLastError());
  return nullptr;
}

void* findLoadedLibrary(const char* symbol, std::string& name) {
  std::array<HMODULE, 4096> libraries{};
  DWORD needed = 0;
  if (!K32EnumProcessModules(GetCurrentProcess(), libraries.data(), sizeof(libraries), &needed))
    return nullptr;
  const std::size_t count = (std::min)(libraries.size(), std::size_t{needed} / sizeof(HMODULE));
  for (std::size_t place = 0; place < count; ++place) {
    // Another thread may unload it meanwhile.
    const UniqueLibrary library = held(libraries[place]);
    const FARPROC function = library == nullptr ? nullptr : GetProcAddress(library.get(), symbol);
    if (function == nullptr) continue;
    // A library may only hand functions on, and not all of them, to the one that they lie in.
    const HMODULE kept = libraryOf(function);
    if (kept == nullptr) continue;
    name = fileNameOf(kept);
    return kept;
  }
  return nullptr;
}

void* librarySymbol(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

std::vector<std::string> libraryFileNames(const std::string& name, const std::string& version) {
  std::string digits = version;
  digits.erase(std::remove(digits.begin(), digits.end(), '.'), digits.end());
  return {name + digits + ".dll"};
}

void closeLibrary(void* library) {
  (void)FreeLibrary(static_cast<HMODULE>(library));
}

std::string environmentVariable(const char* name) {
  // Each C run-time library of the process has a copy of its own; the system's holds what all of them set.
  const std::wstring wideName(name, name + std::char_traits<char>::length(name));
  std::wstring value(longestVariable + 1, L'\0');
  const DWORD size =
      GetEnvironmentVariableW(wideName.c_str(), value.data(), static_cast<DWORD>(value.size()));
  return size > longestVariable ? std::string() : utf8Of(value.c_str());
}

}  // namespace KBL::System
