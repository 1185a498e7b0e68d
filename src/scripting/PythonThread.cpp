#include "scripting/PythonThread.h"

#include "foundation/KblLogger/KblLogger.h"
#include "scripting/PythonCall.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace KBL {

namespace {

/// How long a host waits for the end of an interpreter whose scripts do not let go.
constexpr std::chrono::seconds endLimit{5};

enum class Phase { none, starting, running, ending };

}  // namespace

struct PythonThread::State {
  std::mutex mutex;
  std::condition_variable changed;
  Phase phase = Phase::none;

  void enter(Phase next) {
    const std::lock_guard lock(mutex);
    phase = next;
    changed.notify_all();
  }

  void waitFor(Phase awaited) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return phase == awaited; });
  }

  [[nodiscard]] bool waitForNone() {
    std::unique_lock lock(mutex);
    const auto limit = ScriptOnStack::here() ? std::chrono::seconds(0) : endLimit;
    return changed.wait_for(lock, limit, [&] { return phase == Phase::none; });
  }

  void runInterpreter(const PythonApi& api, bool (*start)(const PythonApi& api)) {
    const bool started = start(api);
    enter(started ? Phase::running : Phase::none);
    if (!started) return;
    waitFor(Phase::ending);
    PythonGate::instance().waitUntilEmpty();
    // No release matches it: the interpreter is gone afterwards.
    (void)api.PyGILState_Ensure();
    api.Py_Finalize();
    enter(Phase::none);
  }

  [[nodiscard]] bool waitUntilStarted() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return phase != Phase::starting; });
    return phase == Phase::running;
  }
};

PythonThread::PythonThread() : state_(*new State) {}

PythonThread& PythonThread::instance() {
  static PythonThread& thread = *new PythonThread;
  return thread;
}

bool PythonThread::run(const PythonApi& api, bool (*start)(const PythonApi& api)) {
  if (!state_.waitForNone()) {
    KBL_LOG(error, "python runtime not started, the former one has not ended");
    return false;
  }
  state_.enter(Phase::starting);
  try {
    std::thread([&state = state_, &api, start] { state.runInterpreter(api, start); }).detach();
  } catch (const std::exception& failure) {
    state_.enter(Phase::none);
    KBL_LOG(error, "python runtime not started, " << failure.what());
    return false;
  }
  return state_.waitUntilStarted();
}

bool PythonThread::holdsInterpreter() const {
  const std::lock_guard lock(state_.mutex);
  return state_.phase != Phase::none;
}

void PythonThread::end() {
  state_.enter(Phase::ending);
  if (ScriptOnStack::here()) return;
  if (!state_.waitForNone()) KBL_LOG(warning, "python runtime not ended yet, a script still runs");
}

}  // namespace KBL
