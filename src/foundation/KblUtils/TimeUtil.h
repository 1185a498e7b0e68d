#pragma once

#include "foundation/object/Export.h"

#include <cstdint>
#include <string>

namespace KBL {

/// Clocks, over the process's time source.
class KBL_UTILS_API TimeUtil {
 public:
  /// Milliseconds since the epoch.
  static std::uint64_t nowSinceEpoch();
  /// The local wall-clock time in a strftime format.
  static std::string now(const std::string& format);
  /// Sleeps on the calling thread.
  static void sleepMs(int milliseconds);
};

}  // namespace KBL
