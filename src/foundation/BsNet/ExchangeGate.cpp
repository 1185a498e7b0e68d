#include "foundation/BsNet/ExchangeGate.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace KBL {
namespace {

constexpr std::chrono::milliseconds closingPatience(1000);

struct Gate {
  std::mutex mutex;
  std::condition_variable left;
  std::atomic<bool> closing{false};
  int inside = 0;
  std::vector<void*> parked;
};

// Never freed: it is asked by threads that outlive the exit handlers.
Gate& gate() {
  static auto* const instance = new Gate;
  return *instance;
}

}  // namespace

ExchangeGate::Pass::Pass() {
  const std::lock_guard lock(gate().mutex);
  granted_ = !gate().closing;
  if (granted_) ++gate().inside;
}

ExchangeGate::Pass::~Pass() {
  if (!granted_) return;
  const std::lock_guard lock(gate().mutex);
  --gate().inside;
  gate().left.notify_all();
}

bool ExchangeGate::isClosing() {
  return gate().closing;
}

void ExchangeGate::closeAtExit() {
  (void)std::atexit(&ExchangeGate::close);
}

void ExchangeGate::park(void* object) {
  const std::lock_guard lock(gate().mutex);
  gate().parked.push_back(object);
}

void ExchangeGate::close() {
  std::unique_lock lock(gate().mutex);
  gate().closing = true;
  gate().left.wait_for(lock, closingPatience, [] { return gate().inside == 0; });
}

}  // namespace KBL
