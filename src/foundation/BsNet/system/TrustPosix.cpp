#include "foundation/BsNet/system/TrustSystem.h"

namespace KBL::System {

std::string keptAuthorities() {
  return {};
}

}  // namespace KBL::System
