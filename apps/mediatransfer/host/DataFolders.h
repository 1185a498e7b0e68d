#pragma once

#include <string>
#include <vector>

namespace host {

/// Where the program keeps what outlives it. All folders are made for their owner only.
struct DataFolders {
  std::string cache;         ///< enciphered logins
  std::string key;           ///< the cipher's key
  std::string sandboxState;  ///< users, tokens and uploads of the stand-in servers
};

/// `cacheDir` empty: the user's data folder D ($XDG_DATA_HOME/mediatransfer or its like) with the logins in
/// D/cache, the library's own key in D and the stand-ins in D/sandbox. Any other cache C has its key in C.key
/// and its stand-ins in C.sandbox, so that two caches in one folder never meet. With `standIns` logins and
/// key lie with the stand-ins, D/sandbox/cache and D/sandbox or their like, so that no login of theirs meets
/// a real one. A profile N has all of that in D/profiles/N, or C.profiles/N in place of C. Throws Failure
/// without a data folder.
[[nodiscard]] DataFolders dataFolders(const std::string& cacheDir, const std::string& profile, bool standIns);

/// The profiles that have a folder, in the order of their names; the one without a name, which always is,
/// first.
[[nodiscard]] std::vector<std::string> knownProfiles(const std::string& cacheDir);

/// Where the configuration files are: $XDG_CONFIG_HOME/mediatransfer, or ~/.config/mediatransfer without it,
/// and on Windows the data folder; empty when none is known.
[[nodiscard]] std::string configFolder();

/// Makes the folder with mode 0700 when it is missing; throws Failure when that fails.
void makePrivateFolder(const std::string& path);

}  // namespace host
