#include "host/Interrupt.h"

#include "options/Failure.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <thread>

namespace host {
namespace {

std::atomic<bool> interruptSeen{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may touch only lock-free atomics");

}  // namespace

extern "C" void mediatransferOnInterrupt(int signal) {
  (void)std::signal(signal,
                    mediatransferOnInterrupt);  // some systems take the handler away when it is called
  if (interruptSeen.exchange(true)) std::_Exit(Exit::interrupted);
}

void watchInterrupts() {
#if defined(__SANITIZE_THREAD__)
  // ThreadSanitizer makes its queue of signals at a thread's first wait, and loses one that comes meanwhile.
  std::this_thread::sleep_for(std::chrono::nanoseconds(1));
#endif
  (void)std::signal(SIGINT, mediatransferOnInterrupt);
  (void)std::signal(SIGTERM, mediatransferOnInterrupt);
#if defined(SIGBREAK)
  (void)std::signal(SIGBREAK, mediatransferOnInterrupt);  // Ctrl-Break
#endif
}

bool interrupted() {
  return interruptSeen.load() || outputIsLost();
}

bool outputIsLost() {
  return std::cout.fail();
}

}  // namespace host
