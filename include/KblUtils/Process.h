#pragma once

#include <KblUtils/Path.h>

#include <memory>
#include <string>
#include <vector>

namespace KBL {

/// The variables that the process was started with.
class KBL_UTILS_API Environment {
 public:
  /// The value in UTF-8, empty when there is none.
  [[nodiscard]] static std::string variable(const char* name);
};

/// A shared library that was found while the process runs; its end gives it back to the system, so whoever
/// has called into it keeps this object for the life of the process. Any thread.
class KBL_UTILS_API SharedLibrary {
 public:
  /// Loads `path`, with its symbols visible to libraries that are loaded later; a bare name is searched for
  /// where the system keeps libraries. Null when that fails, with the system's reason in `reason`.
  [[nodiscard]] static std::unique_ptr<SharedLibrary> open(const Path& path, std::string& reason);
  /// What the process has loaded already and offers `symbol`, its program included; null when nothing does.
  [[nodiscard]] static std::unique_ptr<SharedLibrary> loadedWith(const char* symbol);

  /// The names that the system gives the file of a library of that name and version, most exact first.
  [[nodiscard]] static std::vector<std::string> fileNames(const std::string& name,
                                                          const std::string& version);

  ~SharedLibrary();
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  /// The address of a function or variable, null when the library has none of that name.
  [[nodiscard]] void* symbol(const char* name) const;
  /// The path or name it was opened by; empty for the program itself.
  [[nodiscard]] const std::string& name() const { return name_; }

 private:
  SharedLibrary(void* handle, std::string name);

  void* handle_;
  std::string name_;
};

}  // namespace KBL
