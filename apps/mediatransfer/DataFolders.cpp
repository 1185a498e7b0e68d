#include "DataFolders.h"

#include "Failure.h"
#include "Utf8Path.h"
#include "foundation/KblUtils/FileUtil.h"
#include "foundation/KblUtils/Path.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace host {
namespace {

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

std::filesystem::path userDataFolder() {
#if defined(_WIN32)
  if (const std::string folder = environment("LOCALAPPDATA"); !folder.empty()) return folder;
#else
  // The rule of the XDG folders: a relative path is to be ignored.
  if (const std::filesystem::path folder = pathFromUtf8(environment("XDG_DATA_HOME")); folder.is_absolute()) {
    return folder;
  }
  if (const std::string home = environment("HOME"); !home.empty()) {
    return pathFromUtf8(home) / ".local" / "share";
  }
#endif
  throw Failure(Exit::wrongUse,
                "no folder for the logins: neither a home folder is set nor --cache-dir given");
}

}  // namespace

DataFolders dataFolders(const std::string& cacheDir) {
  std::filesystem::path cache =
      cacheDir.empty() ? userDataFolder() / "mediatransfer" / "cache" : pathFromUtf8(cacheDir);
  std::error_code error;
  cache = std::filesystem::absolute(cache, error).lexically_normal();
  if (error) throw Failure(Exit::refused, "the folder '" + cacheDir + "' cannot be used: " + error.message());
  if (!cache.has_filename()) cache = cache.parent_path();
  const std::string text = utf8FromPath(cache);
  return {text, text + ".key", text + ".sandbox"};
}

void makePrivateFolder(const std::string& path) {
  if (KBL::FileUtil::makePrivateDirectory(KBL::Path(path))) return;
  throw Failure(Exit::refused,
                "the folder '" + path + "' cannot be made; check its rights or give --cache-dir");
}

}  // namespace host
