#pragma once

#include "support/TemporaryDirectory.h"

#include <string>

/// A home for the interpreter that the test run is about (TEST_PYTHON names its library and its standard library), with
/// a script of the test's own. The interpreter is found through it, and a process can only run one: each test runs in a
/// process of its own.
class ScriptHome {
 public:
  /// `folder` is the home's own name, below a new folder.
  explicit ScriptHome(const std::string& script, const std::string& folder = "home");

  /// With a final separator, as hosts give it.
  [[nodiscard]] const std::string& path() const { return path_; }
  /// Writes a file of the home.
  void write(const std::string& name, const std::string& contents) const;
  /// Gives the home to the library.
  void setUp() const;

 private:
  TemporaryDirectory directory_;
  std::string path_;
};

/// Python text that a script may begin with: `Uploader`, a base that keeps the callback and offers `report(code, text)`.
extern const char* const uploaderBase;
/// A whole script: class `body` (indented by four spaces) on `Uploader`, and a factory for it.
[[nodiscard]] std::string scriptWith(const std::string& body);
