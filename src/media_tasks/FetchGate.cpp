#include "media_tasks/FetchGate.h"

#include "foundation/tls/TlsLibrary.h"

#include <chrono>
#include <cstdlib>

namespace KBL {

namespace {

/// A little more than libcurl's own beat of a second on a stalled transfer.
constexpr std::chrono::milliseconds closingPatience(1200);

void closeAtExit() {
  fetchGate().close(closingPatience);
}

}  // namespace

ExitGate& fetchGate() {
  // Registered with the first fetch, behind the TLS library's own handler, and so run before it.
  static ExitGate& gate = []() -> ExitGate& {
    (void)std::atexit(&closeAtExit);
    return *new ExitGate;
  }();
  return gate;
}

FetchPass::FetchPass() : ExitGate::Pass(fetchGate()) {}

FetchPass::~FetchPass() {
  if (isGranted()) leaveTlsLibrary();
}

}  // namespace KBL
