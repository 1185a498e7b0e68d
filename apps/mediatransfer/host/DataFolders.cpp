#include "host/DataFolders.h"

#include "options/Failure.h"
#include "system/Utf8Path.h"
#include <BsNet/cipher.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/Path.h>
#include <KblUtils/Process.h>

#include <filesystem>
#include <set>
#include <system_error>

namespace host {

namespace {

/// Where the profiles of a cache have their folders.
std::string profilesOf(const std::string& owner) {
  return owner + "profiles/";
}

DataFolders realFolders(const std::string& cacheDir, const std::string& profile) {
  const std::string data = KBL::defaultKeyDirectory();
  const std::string usualCache = data + "/cache";
  if (cacheDir.empty() && data.empty()) {
    throw Failure(Exit::wrongUse, "no home folder is known to keep the logins in; give --cache-dir DIR");
  }
  const std::string wanted = cacheDir.empty() ? usualCache : cacheDir;
  const std::string cache =
      KBL::PathUtil::normalizeSlash(KBL::PathUtil::absolute(KBL::Path(wanted))).string();
  if (!data.empty() && cache == usualCache) {
    const std::string own = profile.empty() ? data : profilesOf(data + "/") + profile;
    return {own + "/cache", own, own + "/sandbox"};
  }
  const std::string own = profile.empty() ? cache : profilesOf(cache + ".") + profile;
  return {own, own + ".key", own + ".sandbox"};
}

/// The folder of the profiles beside these folders, which are those without a name.
std::string profilesBeside(const DataFolders& folders) {
  const bool isUsual = folders.key + "/cache" == folders.cache;
  return profilesOf(isUsual ? folders.key + "/" : folders.cache + ".");
}

}  // namespace

DataFolders dataFolders(const std::string& cacheDir, const std::string& profile, bool standIns) {
  const DataFolders real = realFolders(cacheDir, profile);
  if (!standIns) return real;
  return {real.sandboxState + "/cache", real.sandboxState, real.sandboxState};
}

std::vector<std::string> knownProfiles(const std::string& cacheDir) {
  std::set<std::string> names{""};
  std::error_code error;
  std::filesystem::directory_iterator entry(pathFromUtf8(profilesBeside(realFolders(cacheDir, ""))), error);
  for (const std::filesystem::directory_iterator end; !error && entry != end; entry.increment(error)) {
    const std::string name = utf8FromPath(entry->path().filename());
    // Beside a cache of its own stand the folders of its key and its stand-ins, which may be there alone.
    names.insert(name.substr(0, name.find('.')));
  }
  return {names.begin(), names.end()};
}

#if defined(_WIN32)

std::string configFolder() {
  return KBL::defaultKeyDirectory();
}

#else

std::string configFolder() {
  // A relative path would lead elsewhere from each folder.
  const auto usable = [](const std::string& path) { return path.starts_with('/'); };
  const std::string own = KBL::Environment::variable("XDG_CONFIG_HOME");
  if (usable(own)) return own + "/mediatransfer";
  const std::string home = KBL::Environment::variable("HOME");
  return usable(home) ? home + "/.config/mediatransfer" : std::string();
}

#endif

void makePrivateFolder(const std::string& path) {
  if (KBL::FileUtil::makePrivateDirectory(KBL::Path(path))) return;
  throw Failure(Cause::file, "the folder '" + path +
                                 "' cannot be made; check the rights and the room on the disk, or "
                                 "give another");
}

}  // namespace host
