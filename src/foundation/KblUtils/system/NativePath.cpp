#include "foundation/KblUtils/system/System.h"

namespace KBL::System {

std::filesystem::path nativePath(const std::string& path) {
  return std::filesystem::path(std::u8string(path.begin(), path.end()));
}

}  // namespace KBL::System
