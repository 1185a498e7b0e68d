#pragma once

#include "foundation/object/Export.h"

#include <string>

namespace KBL {

/// The variables that the process was started with.
class KBL_UTILS_API Environment {
 public:
  /// The value in UTF-8, empty when there is none.
  [[nodiscard]] static std::string variable(const char* name);
};

}  // namespace KBL
