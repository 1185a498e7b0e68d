#include "system/PrivateFolder.h"

#include <string>
#include <system_error>

#if defined(_WIN32)
#include <windows.h>
#else
#include <cstdlib>
#endif

namespace host {

#if defined(_WIN32)

// The temporary files of Windows lie in a folder of the user's own.
PrivateFolder::PrivateFolder() {
  constexpr int tries = 100;
  std::error_code error;
  const std::filesystem::path home = std::filesystem::temp_directory_path(error);
  if (error) return;
  const std::string name = "mediatransfer-" + std::to_string(GetCurrentProcessId()) + "-";
  for (int i = 0; i < tries && path_.empty(); ++i) {
    const std::filesystem::path path = home / (name + std::to_string(i));
    if (std::filesystem::create_directory(path, error) && !error) path_ = path;
  }
}

#else

PrivateFolder::PrivateFolder() {
  std::error_code error;
  const std::filesystem::path home = std::filesystem::temp_directory_path(error);
  if (error) return;
  std::string name = (home / "mediatransfer-XXXXXX").string();
  if (::mkdtemp(name.data()) != nullptr) path_ = name;
}

#endif

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

}  // namespace host
