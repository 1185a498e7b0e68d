#include "foundation/KblUtils/Environment.h"

#include "foundation/KblUtils/system/System.h"

namespace KBL {

std::string Environment::variable(const char* name) {
  return System::environmentVariable(name);
}

}  // namespace KBL
