#include "media_tasks/FetchGate.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

namespace KBL {

namespace {

/// A little more than libcurl's own beat of a second on a stalled transfer.
constexpr std::chrono::milliseconds closingPatience(1200);

class Gate {
 public:
  bool enter() {
    const std::lock_guard lock(mutex_);
    if (isClosing) return false;
    // Registered with the first fetch, behind the TLS library's own handler, and so run before it.
    if (!isRegistered_) isRegistered_ = std::atexit(&Gate::closeAtExit) == 0;
    ++inside_;
    return true;
  }

  void leave() {
    const std::lock_guard lock(mutex_);
    --inside_;
    left_.notify_all();
  }

  std::atomic<bool> isClosing{false};

 private:
  static void closeAtExit();

  std::mutex mutex_;
  std::condition_variable left_;
  int inside_ = 0;
  bool isRegistered_ = false;
};

/// Never freed: threads that outlive the exit handlers ask it.
Gate& gate() {
  static auto* const instance = new Gate;
  return *instance;
}

void Gate::closeAtExit() {
  std::unique_lock lock(gate().mutex_);
  gate().isClosing = true;
  gate().left_.wait_for(lock, closingPatience, [] { return gate().inside_ == 0; });
}

}  // namespace

FetchGate::Pass::Pass() : granted_(gate().enter()) {}

FetchGate::Pass::~Pass() {
  if (granted_) gate().leave();
}

bool FetchGate::isClosing() {
  return gate().isClosing;
}

}  // namespace KBL
