#include "host/Interrupt.h"

#include "options/Failure.h"

#if defined(_WIN32)
#include <windows.h>
#endif

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

void endAtOnce() {
#if defined(_WIN32)
  // The other call has the libraries clean up behind threads that are gone, and may wait for ever for what
  // one of them has held.
  TerminateProcess(GetCurrentProcess(), Exit::interrupted);
#else
  std::_Exit(Exit::interrupted);
#endif
}

void noteInterrupt() {
  if (interruptSeen.exchange(true)) endAtOnce();
}

}  // namespace

#if defined(_WIN32)

// On a thread of the system's. Signals would not do: a second one that comes while the first is handled ends
// the process with a number of the system's own.
static BOOL WINAPI mediatransferOnConsoleEvent(DWORD kind) {
  noteInterrupt();
  // Behind a closed window or the user's leave the process ends with this call, and in some seconds anyway.
  if (kind != CTRL_C_EVENT && kind != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

void watchInterrupts() {
  SetConsoleCtrlHandler(&mediatransferOnConsoleEvent, TRUE);
}

#else

extern "C" void mediatransferOnInterrupt(int signal) {
  (void)std::signal(signal,
                    mediatransferOnInterrupt);  // some systems take the handler away when it is called
  noteInterrupt();
}

void watchInterrupts() {
#if defined(__SANITIZE_THREAD__)
  // ThreadSanitizer makes its queue of signals at a thread's first wait, and loses one that comes meanwhile.
  std::this_thread::sleep_for(std::chrono::nanoseconds(1));
#endif
  (void)std::signal(SIGINT, mediatransferOnInterrupt);
  (void)std::signal(SIGTERM, mediatransferOnInterrupt);
}

#endif

bool interrupted() {
  return interruptSeen.load() || outputIsLost();
}

bool outputIsLost() {
  return std::cout.fail();
}

}  // namespace host
