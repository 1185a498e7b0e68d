#pragma once

#include "scripting/python/PythonApi.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace KBL {

/// Lets calls into the interpreter while it runs, and counts those inside, so that it ends when nobody is: a
/// thread that came back to an interpreter that has ended would be ended with it. An interpreter is known by
/// a mark inside it, an object in `sys`, which goes with it and says so: a host may end its own and start
/// another one without a word to us. One a process, never freed. Any thread.
class PythonGate {
 public:
  [[nodiscard]] static PythonGate& instance();

  /// Opens for an interpreter that runs now and puts the mark into it, for which it takes the interpreter
  /// lock; returns the number of its life, which is never used twice; 0, and it stays closed, where there is
  /// no place for a mark.
  [[nodiscard]] std::uint64_t open(const PythonApi& api);
  /// From now on nobody enters.
  void close();
  /// Returns when nobody is inside.
  void waitUntilEmpty();

  /// Null unless an interpreter runs that may be the one of that life; else a counterpart of `leave` follows.
  [[nodiscard]] const PythonApi* enter(std::uint64_t life);
  void leave();
  /// With the interpreter lock, behind `enter`: true when the interpreter is the one that `enter` was asked
  /// for.
  [[nodiscard]] bool isMarked(const PythonApi& api) const;

  /// The interpreter that runs, null when there is none.
  [[nodiscard]] const PythonApi* running() const;
  /// The number of the last life, also behind its end; 0 before the first.
  [[nodiscard]] std::uint64_t lastLife() const;
  /// True while the interpreter of that life runs.
  [[nodiscard]] bool runs(std::uint64_t life) const;

 private:
  [[nodiscard]] static PyObject* putMark(const PythonApi& api);
  static void noteEnd(PyObject* mark);
  /// Under `mutex_`.
  [[nodiscard]] bool runs() const;

  mutable std::mutex mutex_;  // a leaf
  std::condition_variable empty_;
  const PythonApi* api_ = nullptr;
  std::uint64_t life_ = 0;                 // the number of the last one
  std::atomic<PyObject*> mark_ = nullptr;  // of the last one, held by it alone; null behind its end
  bool open_ = false;
  int inside_ = 0;
};

/// Marks a thread on which script code stands on the stack, called by the library or calling it.
class ScriptOnStack {
 public:
  ScriptOnStack();
  ~ScriptOnStack();
  ScriptOnStack(const ScriptOnStack&) = delete;
  ScriptOnStack& operator=(const ScriptOnStack&) = delete;

  /// True when this thread has such a mark.
  [[nodiscard]] static bool here();
};

/// A stay inside the interpreter, with its lock held. False, and nothing may be called through it, when the
/// interpreter of that life has ended or never ran. An interpreter that its host ends meanwhile unwinds the
/// thread out of any call, those of the constructor and the destructor included.
class PythonCall {
 public:
  explicit PythonCall(std::uint64_t life);
  ~PythonCall() noexcept(false);
  PythonCall(const PythonCall&) = delete;
  PythonCall& operator=(const PythonCall&) = delete;

  [[nodiscard]] explicit operator bool() const { return api_ != nullptr; }
  const PythonApi* operator->() const { return api_; }

  /// Prints the pending error as the interpreter does by default, but never ends the process as that does for
  /// a script's SystemExit.
  void printError() const;

 private:
  /// Leaves the gate however the thread goes.
  class Pass {
   public:
    explicit Pass(std::uint64_t life) : api(PythonGate::instance().enter(life)) {}
    ~Pass() {
      if (api != nullptr) PythonGate::instance().leave();
    }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

    const PythonApi* const api;
  };

  const Pass pass_;
  ScriptOnStack mark_;
  const PythonApi* api_ = nullptr;
  int lockState_ = 0;
};

/// Gives the interpreter lock up for its own life, should this thread hold it: whoever waits for a lock of
/// ours with the interpreter's in hand would stop the thread that holds ours and waits for the interpreter's.
class PythonUnlocked {
 public:
  PythonUnlocked();
  ~PythonUnlocked() noexcept(false);
  PythonUnlocked(const PythonUnlocked&) = delete;
  PythonUnlocked& operator=(const PythonUnlocked&) = delete;

 private:
  const PythonApi* const api_;
  PyThreadState* state_ = nullptr;
};

}  // namespace KBL
