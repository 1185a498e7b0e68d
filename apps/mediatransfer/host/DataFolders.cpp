#include "host/DataFolders.h"

#include "options/Failure.h"
#include <BsNet/cipher.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/Path.h>

namespace host {

namespace {

DataFolders realFolders(const std::string& cacheDir) {
  const std::string data = KBL::defaultKeyDirectory();
  const std::string usualCache = data + "/cache";
  if (cacheDir.empty() && data.empty()) {
    throw Failure(Exit::wrongUse, "no home folder is known to keep the logins in; give --cache-dir DIR");
  }
  const std::string wanted = cacheDir.empty() ? usualCache : cacheDir;
  const std::string cache =
      KBL::PathUtil::normalizeSlash(KBL::PathUtil::absolute(KBL::Path(wanted))).string();
  if (!data.empty() && cache == usualCache) return {cache, data, data + "/sandbox"};
  return {cache, cache + ".key", cache + ".sandbox"};
}

}  // namespace

DataFolders dataFolders(const std::string& cacheDir, bool standIns) {
  const DataFolders real = realFolders(cacheDir);
  if (!standIns) return real;
  return {real.sandboxState + "/cache", real.sandboxState, real.sandboxState};
}

void makePrivateFolder(const std::string& path) {
  if (KBL::FileUtil::makePrivateDirectory(KBL::Path(path))) return;
  throw Failure(Exit::refused, "the folder '" + path +
                                   "' cannot be made; check the rights and the room on the disk, or "
                                   "give another");
}

}  // namespace host
