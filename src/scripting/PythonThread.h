#pragma once

#include "scripting/PythonApi.h"

namespace KBL {

/// The thread that starts the interpreter, sleeps while it runs, and ends it. An interpreter has a main
/// thread, which is the one that must end it: no thread of a host's is certain to be there then, or free to
/// wait until threads of scripts have ended. One a process, never freed.
class PythonThread {
 public:
  [[nodiscard]] static PythonThread& instance();

  /// Runs `start` on a new thread and returns its result. When that was true, the thread waits for `end`.
  /// False also while a former interpreter is still on its way to its end, and without a thread; both are
  /// logged.
  [[nodiscard]] bool run(const PythonApi& api, bool (*start)(const PythonApi& api));

  /// True from the start of an interpreter to its end.
  [[nodiscard]] bool holdsInterpreter() const;

  /// Ends the interpreter behind the closed gate, once the last call has left it. Returns at the end, within
  /// seconds in any case, since a call may stay inside for ever, and at once on a thread with a script on its
  /// stack.
  void end();

 private:
  struct State;
  PythonThread();

  State& state_;
};

}  // namespace KBL
