#pragma once

#include "foundation/object/ExitGate.h"

namespace KBL {

/// Keeps the threads of media tasks out of libcurl once the process is closing: its TLS library tears its
/// state down at exit. Fetches see the closed gate within one beat of libcurl's meter, and the exiting thread
/// waits a bounded time for them to leave.
[[nodiscard]] ExitGate& fetchGate();

/// One fetch inside that gate; not granted when it is closed. Nothing of libcurl stays with the thread.
class FetchPass : public ExitGate::Pass {
 public:
  FetchPass();
  ~FetchPass();
};

}  // namespace KBL
