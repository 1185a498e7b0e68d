#pragma once

#include "foundation/KblLogger/LinesBehindLock.h"
#include "scripting/python/PythonApi.h"
#include "scripting/python/PythonAuObject.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace KBL {

/// Guards what belongs to the embedded interpreter. Initialised at load (see boundary/exports/LoadTime.cpp),
/// never freed.
extern std::mutex& pythonMutex;
/// The folder that the host named as home of the interpreter, UTF-8; empty until then. Guarded by
/// `pythonMutex`.
extern std::string& pythonHome;

/// The embedded interpreter and the one script that it runs. One a process, behind setupTransferEnv and
/// teardownTransferEnv. The interpreter starts when the host sets the environment up; the script is loaded
/// when the first upload object asks for the environment. Nothing is reported to the caller: failures are
/// printed by the interpreter or logged.
///
/// Any thread. `pythonMutex` guards creation, load and end, and comes before the interpreter lock. Log lines
/// that come about under it are written behind it.
class CPythonRunTime {
 public:
  ~CPythonRunTime();
  CPythonRunTime(const CPythonRunTime&) = delete;
  CPythonRunTime& operator=(const CPythonRunTime&) = delete;

  /// Starts the interpreter with the home `path`, which ends in a separator; changes nothing while an
  /// instance exists or for a null path. `length` bytes are taken, or all up to the terminator when it is
  /// below 1. Always true; throws bad_alloc, and nothing was done, when memory is short.
  static bool setHomePath(const char* path, int length);
  /// The instance, null when none is set up, after loading the script if that was never tried.
  [[nodiscard]] static std::shared_ptr<CPythonRunTime> getEnvironment();
  /// Ends the instance, if there is one, and the interpreter with it, unless the host started that.
  static void teardown();

  /// True while the interpreter runs.
  [[nodiscard]] bool initialised() const { return initialised_; }
  /// A new script object for a platform of the transfer side; null for a platform without scripts. Without a
  /// factory, or one that works, it wraps nothing.
  [[nodiscard]] std::unique_ptr<CPythonAuObject> CreateAuInstance(std::uint32_t platform) const;

 private:
  CPythonRunTime() = default;

  // The operations above, under the mutex.
  static void makeInstance(const std::string& home, LinesBehindLock& lines);
  [[nodiscard]] static std::shared_ptr<CPythonRunTime> loadedInstance(LinesBehindLock& lines);
  [[nodiscard]] static bool endInstance();

  void InitPython(const std::string& path, LinesBehindLock& lines);
  void loadScript();
  void readScript();
  void loadModule();
  /// False when it waited in vain for the interpreter's end.
  bool end();

  std::atomic<bool> initialised_ = false;
  PyObject* scriptNames_ = nullptr;  ///< of the script's module, borrowed from it
  std::string scriptText_;
  bool ownsInterpreter_ = false;  ///< false where the host had started one
  std::uint64_t life_ = 0;        ///< of the interpreter, at the gate; 0 without one
};

}  // namespace KBL
