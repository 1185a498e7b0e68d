#pragma once

#include "foundation/KblLogger/LinesBehindLock.h"
#include "foundation/neverFreed.h"
#include "scripting/python/PythonApi.h"

namespace KBL {

/// The thread that starts the interpreter, sleeps while it runs, and ends it. An interpreter has a main
/// thread, which is the one that must end it: no thread of a host's is certain to be there then, or free to
/// wait until threads of scripts have ended. One a process, never freed.
class PythonThread {
 public:
  [[nodiscard]] static PythonThread& instance();

  /// Runs `start` on a new thread and returns its result. When that was true, the thread waits for `end`. The
  /// interpreter's own settings stand from before its start to behind its end.
  /// False also while a former interpreter is still on its way to its end, and without a thread; `lines` gets
  /// a line for both. Nothing is started when memory is short.
  [[nodiscard]] bool run(const PythonApi& api, bool (*start)(const PythonApi& api), LinesBehindLock& lines);

  /// True from the start of an interpreter to its end.
  [[nodiscard]] bool holdsInterpreter() const;

  /// Ends the interpreter behind the closed gate, once the last call has left it. Returns at the end, within
  /// seconds in any case, since a call may stay inside for ever, and at once on a thread with a script on its
  /// stack. False when it waited in vain.
  [[nodiscard]] bool end();

 private:
  friend PythonThread& neverFreed<PythonThread>();
  struct State;
  PythonThread();

  State& state_;
};

}  // namespace KBL
