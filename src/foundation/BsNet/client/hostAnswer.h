#pragma once

#include "foundation/tls/CurlStay.h"
#include <KblLogger/KblLogger.h>
#include <KblUtils/HostCode.h>

namespace KBL {

/// Asks a callback of whoever runs an exchange, in the middle of it. One that throws has answered
/// `otherwise`.
template <class Ask>
[[nodiscard]] bool hostAnswer(bool otherwise, const char* callback, Ask&& ask) {
  return CurlStay::callHost([&] {
    try {
      return ask();
    } catch (...) {
      passThreadEnd();
      KBL_LOG(severityError, callback << " threw");
      return otherwise;
    }
  });
}

}  // namespace KBL
