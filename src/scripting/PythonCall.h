#pragma once

#include "scripting/PythonApi.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace KBL {

/// Lets calls into the interpreter while it runs, and counts those inside, so that it ends when nobody is: a
/// thread that came back to an interpreter that has ended would be ended with it. One a process, never freed.
/// Any thread.
class PythonGate {
 public:
  [[nodiscard]] static PythonGate& instance();

  /// Opens for an interpreter that runs now; returns the number of its life, which is never used twice nor 0.
  std::uint64_t open(const PythonApi& api);
  /// From now on nobody enters.
  void close();
  /// Returns when nobody is inside.
  void waitUntilEmpty();

  /// Null unless the interpreter of that life still runs; else a counterpart of `leave` follows.
  [[nodiscard]] const PythonApi* enter(std::uint64_t life);
  void leave();

  /// The interpreter that runs, null when there is none.
  [[nodiscard]] const PythonApi* running() const;

 private:
  /// Under `mutex_`.
  [[nodiscard]] bool runs() const;

  mutable std::mutex mutex_;  // a leaf
  std::condition_variable empty_;
  const PythonApi* api_ = nullptr;
  std::uint64_t life_ = 0;  // the number of the last one
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
/// interpreter of that life has ended or never ran.
class PythonCall {
 public:
  explicit PythonCall(std::uint64_t life);
  ~PythonCall();
  PythonCall(const PythonCall&) = delete;
  PythonCall& operator=(const PythonCall&) = delete;

  [[nodiscard]] explicit operator bool() const { return api_ != nullptr; }
  const PythonApi* operator->() const { return api_; }

  /// Prints the pending error as the interpreter does by default, but never ends the process as that does for
  /// a script's SystemExit.
  void printError() const;

 private:
  const PythonApi* const api_;
  int lockState_ = 0;
  ScriptOnStack mark_;
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
