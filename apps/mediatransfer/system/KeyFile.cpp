#include "system/KeyFile.h"

#if defined(_WIN32)
#include "system/Files.h"
#include "system/PrivateFolder.h"
#include "system/Utf8Path.h"
#include <BsNet/cipher.h>
#else
#include "system/Files.h"

#include <cstddef>
#endif

namespace host {

#if defined(_WIN32)

// What the system has sealed only the system can tell. A copy is asked.
bool keyFileServes(const std::string& path) {
  const PrivateFolder folder;
  const std::string sealed = contentsOf(path);
  if (folder.path().empty() || sealed.empty()) return false;
  const std::string copy = utf8FromPath(folder.path() / "cipher.key");
  if (!writeFile(copy, sealed)) return false;
  const bool isKey = !KBL::makeFileKeyStore(utf8FromPath(folder.path()))->loadOrCreateKey().empty();
  // In the place of a damaged one stands another now.
  return isKey && contentsOf(copy) == sealed;
}

#else

bool keyFileServes(const std::string& path) {
  constexpr std::size_t keyBytes = 64;
  return contentsOf(path).size() == keyBytes;
}

#endif

}  // namespace host
