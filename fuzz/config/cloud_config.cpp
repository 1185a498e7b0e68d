// A file of addresses, each of which is then asked for.
#include "fuzz/support/ScratchFile.h"
#include <BsCloudConfig/BsCloudConfig.h>

#include <array>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ScratchFile file;
  file.write(data, size);
  const bool isGood = KBL::loadCloudConfig(file.path().string()).empty();
  KBL::IBsCloudConfigManager* const manager = getBsCloudConfigManager();
  if (isGood != (manager != nullptr)) std::abort();
  if (!isGood) return 0;
  for (const char* key : {"", "a", "b", "urlLFServerUserSupportSession"}) {
    std::array<char, KBL::urlBufferSize> buffer{};
    manager->urlConfig()->urlForKey(key, buffer.data(), 0);
    if (std::memchr(buffer.data(), 0, buffer.size()) == nullptr) std::abort();
  }
  KBL::clearCloudConfig();
  return 0;
}
