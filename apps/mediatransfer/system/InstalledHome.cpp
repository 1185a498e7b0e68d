#include "system/InstalledHome.h"

#include "system/Utf8Path.h"

#include <array>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace host {

namespace {

/// The program's own file; empty where the system does not tell.
std::filesystem::path programFile() {
#if defined(_WIN32)
  std::array<wchar_t, 32768> path{};
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return std::filesystem::path(std::wstring(path.data(), length < path.size() ? length : 0));
#else
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error);
#endif
}

}  // namespace

std::string installedPythonHome() {
  return pythonHomeOf(programFile());
}

std::string pythonHomeOf(const std::filesystem::path& program) {
  // Else it would be looked for below the folder where people stand.
  if (!program.is_absolute()) return {};
  const std::filesystem::path prefix = program.parent_path().parent_path();
  const std::filesystem::path home = prefix / "lib" / "ExternlMediaTransfer" / "python_home";
  std::error_code error;
  return std::filesystem::is_regular_file(home / "python38.zip", error) ? utf8FromPath(home) : std::string();
}

std::string homeForScripts(const std::string& home) {
  const std::u8string text = pathFromUtf8(home).generic_u8string();
  std::string slashed(text.begin(), text.end());
  if (!slashed.empty() && !slashed.ends_with('/')) slashed += '/';
  return slashed;
}

}  // namespace host
