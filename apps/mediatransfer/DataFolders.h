#pragma once

#include <string>

namespace host {

/// Where the program keeps what outlives it. All folders are made for their owner only. Each cache has its
/// own key and its own stand-in servers beside it, so that two caches in one folder never meet.
struct DataFolders {
  std::string cache;         ///< enciphered logins
  std::string key;           ///< the cipher's key: CACHE.key
  std::string sandboxState;  ///< users, tokens and uploads of the stand-in servers: CACHE.sandbox
};

/// `cacheDir` empty: the user's data folder ($XDG_DATA_HOME or ~/.local/share, on Windows the local
/// application data).
[[nodiscard]] DataFolders dataFolders(const std::string& cacheDir);

/// Makes the folder with mode 0700 when it is missing; throws Failure when that fails.
void makePrivateFolder(const std::string& path);

}  // namespace host
