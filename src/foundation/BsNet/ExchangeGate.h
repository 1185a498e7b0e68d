#pragma once

#include "foundation/object/ExitGate.h"

namespace KBL {

/// Keeps threads out of libcurl and its TLS library once the process is closing: those tear their state down
/// at exit, while detached workers may still run. At exit the gate closes, exchanges see it within one beat,
/// and the exiting thread waits a bounded time for them to leave.
class ExchangeGate {
 public:
  /// One stay inside libcurl; not granted when the gate is closed. Nothing of libcurl stays with the thread.
  class Pass : public ExitGate::Pass {
   public:
    Pass();
    ~Pass();
  };

  [[nodiscard]] static bool isClosing();

  /// Closes the gate when the process exits. To be called after libcurl's global set-up, so that it runs
  /// before the TLS library's own exit handler.
  static void closeAtExit();

  /// Keeps an object that may no longer be freed.
  static void park(void* object);
};

}  // namespace KBL
