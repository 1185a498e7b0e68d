#include "foundation/BsNet/ExchangeGate.h"

#include "foundation/tls/TlsLibrary.h"

#include <chrono>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace KBL {
namespace {

constexpr std::chrono::milliseconds closingPatience(1000);

struct Parking {
  std::mutex mutex;
  std::vector<void*> objects;
};

// Neither is ever freed: they are asked by threads that outlive the exit handlers.

ExitGate& gate() {
  static auto* const instance = new ExitGate;
  return *instance;
}

Parking& parking() {
  static auto* const instance = new Parking;
  return *instance;
}

void close() {
  gate().close(closingPatience);
}

}  // namespace

ExchangeGate::Pass::Pass() : ExitGate::Pass(gate()) {}

ExchangeGate::Pass::~Pass() {
  if (isGranted()) leaveTlsLibrary();
}

bool ExchangeGate::isClosing() {
  return gate().isClosing();
}

void ExchangeGate::closeAtExit() {
  (void)std::atexit(&close);
}

void ExchangeGate::park(void* object) {
  const std::lock_guard lock(parking().mutex);
  parking().objects.push_back(object);
}

}  // namespace KBL
