#pragma once

#include "support/TemporaryDirectory.h"

#include <filesystem>
#include <memory>
#include <string>

/// The interpreter that a test run is about, as TEST_PYTHON tells it. A process can only run one interpreter
/// and load one script: each test runs in a process of its own.
struct TestedPython {
  std::string library;           ///< path of its shared library
  std::filesystem::path stdlib;  ///< folder of its standard library
  std::string program;           ///< path of the interpreter as a program
};
[[nodiscard]] TestedPython testedPython();

/// A home for the tested interpreter, with a script of the test's own.
class ScriptHome {
 public:
  /// `folder` is the home's own name, below a new folder.
  explicit ScriptHome(const std::string& script, const std::string& folder = "home");

  /// With a final separator, as hosts give it.
  [[nodiscard]] const std::string& path() const { return path_; }
  /// The folder that the home lies in.
  [[nodiscard]] const TemporaryDirectory& parent() const { return directory_; }
  /// Writes a file of the home.
  void write(const std::string& name, const std::string& contents) const;
  /// Names the tested interpreter and gives the home to the library.
  void setUp() const;

 private:
  TemporaryDirectory directory_;
  std::string path_;
};

/// Sets up a home with a script, loads the script, and returns the home.
[[nodiscard]] std::unique_ptr<ScriptHome> loadedHome(const std::string& script);

/// Python text that scripts may begin with: the list `calls`; `Uploader`, a base that keeps the callback and
/// offers `report(code, text)`; `Recorder`, an uploader with every method there could be, which notes the
/// call and answers what `answers` has for it (what can be called is called for the answer).
extern const char* const scriptBase;
/// A script with a class on `Uploader` with the given body (indented by four spaces), and a factory for it.
[[nodiscard]] std::string scriptWith(const std::string& body);
/// A script with a `Recorder` whose answers are the given dictionary's.
[[nodiscard]] std::string recorderWith(const std::string& answers = "{}");
/// The same, with the dictionary's inside alone.
[[nodiscard]] std::string recorderAnswering(const std::string& pairs);
/// A recorder whose `GetLoginURL` makes the file "begun" in the current folder, waits for the file "end"
/// there and answers "ended". `more` goes on with its dictionary.
[[nodiscard]] std::string waitingRecorder(const std::string& more = {});

/// Runs Python text in the interpreter that the library started; false when it raised.
bool runPython(const std::string& text);
/// `str()` of a Python expression's value; the loaded script's names stand behind "rt.".
[[nodiscard]] std::string pythonValue(const std::string& expression);

/// What the program writes to the standard log stream and to its error output while this lives.
class ErrorOutput {
 public:
  ErrorOutput();
  ~ErrorOutput();
  ErrorOutput(const ErrorOutput&) = delete;
  ErrorOutput& operator=(const ErrorOutput&) = delete;

  /// Everything so far; ends the recording.
  [[nodiscard]] std::string text();

 private:
  bool recording_ = true;
};
