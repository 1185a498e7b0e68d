#include "scripting/python/PythonLibrary.h"

#include "foundation/neverFreed.h"
#include <KblLogger/KblLogger.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/Process.h>

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace KBL {

namespace {

constexpr int oldestMinor = 8;
constexpr int newestMinor = 13;
/// Every interpreter has it, and nothing else.
constexpr const char* interpreterFunction = "Py_Initialize";

std::vector<std::string> libraryNames(int minor) {
  return SharedLibrary::fileNames("python", "3." + std::to_string(minor));
}

/// Looks for an interpreter and remembers what it tried.
class Search {
 public:
  /// The one that the process has loaded; null also, with a note, when it cannot serve.
  const PythonApi* loaded() {
    auto library = SharedLibrary::loadedWith(interpreterFunction);
    return library == nullptr ? nullptr : resolve(std::move(library), "the process's own interpreter");
  }

  const PythonApi* run(const std::string& home, LinesBehindLock& lines) {
    const PythonApi* const own = loaded();
    // One that cannot serve ends the search: a second interpreter would mix its functions with the first
    // one's.
    if (own != nullptr || !tried_.empty()) return own;
    const std::string named = Environment::variable(pythonLibraryVariable);
    if (const PythonApi* const api = named.empty() ? nullptr : at(named)) return api;
    std::string passedOver = tried_;
    const PythonApi* api = underHome(home);
    if (api == nullptr) api = byUsualNames();
    if (api != nullptr && !passedOver.empty()) {
      lines.add([passedOver = std::move(passedOver)] {
        KBL_LOG_AS(severityWarning, "KBL::findPython",
                   "python runtime of the variable is passed over: " << passedOver);
      });
    }
    return api;
  }

  [[nodiscard]] const std::string& tried() const { return tried_; }

 private:
  const PythonApi* at(const std::string& path) {
    std::string reason;
    auto library = SharedLibrary::open(Path(path), reason);
    if (library == nullptr) {
      note(path, reason);
      return nullptr;
    }
    return resolve(std::move(library), path);
  }

  const PythonApi* underHome(const std::string& home) {
    const std::string libraries = home + "lib/";
    for (int minor = oldestMinor; minor <= newestMinor; ++minor) {
      for (const std::string& name : libraryNames(minor)) {
        for (const std::string& path : {home + name, libraries + name}) {
          if (!FileUtil::exists(Path(path))) continue;
          if (const PythonApi* const api = at(path)) return api;
        }
      }
    }
    note(home, "no interpreter that serves in it");
    return nullptr;
  }

  const PythonApi* byUsualNames() {
    for (int minor = oldestMinor; minor <= newestMinor; ++minor) {
      for (const std::string& name : libraryNames(minor)) {
        if (const PythonApi* const api = at(name)) return api;
      }
    }
    return nullptr;
  }

  const PythonApi* resolve(std::unique_ptr<SharedLibrary> library, const std::string& name) {
    std::string reason;
    const PythonApi* const api = PythonApi::resolve(std::move(library), reason);
    if (api == nullptr) note(name, reason);
    return api;
  }

  void note(const std::string& what, const std::string& reason) {
    if (!tried_.empty()) tried_ += "; ";
    tried_.append(what).append(" (").append(reason).append(")");
  }

  std::string tried_;
};

const PythonApi* searchAndTell(const std::string& home, LinesBehindLock& lines) {
  Search search;
  const PythonApi* const api = search.run(home, lines);
  if (api == nullptr) {
    lines.add([tried = search.tried()] {
      KBL_LOG_AS(severityError, "KBL::findPython", "python runtime not found, tried: " << tried);
    });
  }
  return api;
}

/// What the first search that was successful found.
struct Found {
  std::mutex mutex;  // a leaf: no search needs the interpreter lock
  const PythonApi* api = nullptr;
};

Found& found() {
  static Found& once = neverFreed<Found>();
  return once;
}

}  // namespace

const PythonApi* findPython(const std::string& home, LinesBehindLock& lines) {
  Found& one = found();
  const std::lock_guard lock(one.mutex);
  if (one.api == nullptr) one.api = searchAndTell(home, lines);
  return one.api;
}

const PythonApi* findLoadedPython() {
  Found& one = found();
  const std::lock_guard lock(one.mutex);
  if (one.api == nullptr) one.api = Search().loaded();
  return one.api;
}

}  // namespace KBL
