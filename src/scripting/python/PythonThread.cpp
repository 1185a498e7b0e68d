#include "scripting/python/PythonThread.h"

#include "foundation/system/System.h"
#include "scripting/python/PythonCall.h"
#include <KblLogger/KblLogger.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <string>
#include <utility>

namespace KBL {

namespace {

/// How long a host waits for the end of an interpreter whose scripts do not let go.
constexpr std::chrono::seconds endLimit{5};

enum class Phase { none, starting, running, ending };

/// What holds for an interpreter of ours alone, as long as it runs; the process's own settings are back
/// behind it, for whoever starts one of their own then.
class OwnSettings {
 public:
  explicit OwnSettings(const PythonApi& api)
      // Paths are UTF-8 here, whatever the locale of the process. Modules come from the home alone, wherever
      // the variables for the interpreter and the user's own folder of modules point.
      : utf8Mode_(api.Py_UTF8Mode),
        ignoreEnvironment_(api.Py_IgnoreEnvironmentFlag),
        noUserSite_(api.Py_NoUserSiteDirectory) {}

 private:
  class Set {
   public:
    explicit Set(int* flag) : flag_(flag), former_(flag == nullptr ? 0 : std::exchange(*flag, 1)) {}
    ~Set() {
      if (flag_ != nullptr) *flag_ = former_;
    }
    Set(const Set&) = delete;
    Set& operator=(const Set&) = delete;

   private:
    int* const flag_;
    const int former_;
  };

  const Set utf8Mode_;
  const Set ignoreEnvironment_;
  const Set noUserSite_;
};

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
    startAndEnd(api, start);
    enter(Phase::none);
  }

  void startAndEnd(const PythonApi& api, bool (*start)(const PythonApi& api)) {
    const OwnSettings settings(api);
    if (!start(api)) return;
    enter(Phase::running);
    waitFor(Phase::ending);
    PythonGate::instance().waitUntilEmpty();
    // No release matches it: the interpreter is gone afterwards.
    (void)api.PyGILState_Ensure();
    api.Py_Finalize();
  }

  [[nodiscard]] bool waitUntilStarted() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return phase != Phase::starting; });
    return phase == Phase::running;
  }
};

PythonThread::PythonThread() : state_(neverFreed<State>()) {}

PythonThread& PythonThread::instance() {
  static PythonThread& thread = neverFreed<PythonThread>();
  return thread;
}

bool PythonThread::run(const PythonApi& api, bool (*start)(const PythonApi& api), LinesBehindLock& lines) {
  if (!state_.waitForNone()) {
    lines.add([] { KBL_LOG(severityError, "python runtime not started, the former one has not ended"); });
    return false;
  }
  state_.enter(Phase::starting);
  try {
    if (!System::startDetached([&state = state_, &api, start] { state.runInterpreter(api, start); })) {
      state_.enter(Phase::none);
      lines.add([] { KBL_LOG(severityError, "python runtime not started, no thread can be made"); });
      return false;
    }
  } catch (const std::bad_alloc&) {
    state_.enter(Phase::none);
    throw;
  }
  return state_.waitUntilStarted();
}

bool PythonThread::holdsInterpreter() const {
  const std::lock_guard lock(state_.mutex);
  return state_.phase != Phase::none;
}

bool PythonThread::end() {
  state_.enter(Phase::ending);
  return ScriptOnStack::here() || state_.waitForNone();
}

}  // namespace KBL
