// How the interpreter is looked for, with stand-ins that cannot serve.
#include "scripting/python/PythonLibrary.h"
#include "support/RecordingLogger.h"
#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

using namespace KBL;
using testing::HasSubstr;
using testing::SizeIs;

namespace fs = std::filesystem;

namespace {

/// No real interpreter is in the way for the rest of the process.
void forgetOtherInterpreters() {
  (void)_wputenv_s(L"PATH", L"");
  (void)_wputenv_s(L"MEDIATRANSFER_PYTHON", L"");
}

TEST(PythonSearch, LooksIntoAHomeOfAnyNameForTheSystemsFileNames) {
  forgetOtherInterpreters();
  const TemporaryDirectory directory;
  const fs::path home = directory.path() / u8"Fu\u00DFg\u00E4nger \u6D4B";
  fs::create_directories(home / "lib");
  fs::copy_file(BARE_PYTHON, home / "python39.dll");
  fs::copy_file(OLD_PYTHON, home / "lib" / "python310.dll");
  const ScopedRecordingLogger log;

  LinesBehindLock told;
  EXPECT_EQ(findPython(directory.file("Fu\u00DFg\u00E4nger \u6D4B") + "/", told), nullptr);
  told.write();

  const auto lines = log->linesWith("python runtime not found, tried: ");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_THAT(lines[0].text, HasSubstr("/python39.dll (no function Py_SetPythonHome)"));
  EXPECT_THAT(lines[0].text, HasSubstr("/lib/python310.dll (version 3.7.16 is none from 3.8 upwards)"));
  EXPECT_THAT(lines[0].text, HasSubstr("; python38.dll ("));
}

TEST(PythonSearch, TakesTheLibraryThatTheVariableNames) {
  forgetOtherInterpreters();
  (void)_putenv_s("MEDIATRANSFER_PYTHON", BARE_PYTHON);
  const ScopedRecordingLogger log;

  LinesBehindLock told;
  EXPECT_EQ(findPython("nowhere/", told), nullptr);
  told.write();

  EXPECT_THAT(log->linesWith(BARE_PYTHON " (no function Py_SetPythonHome)"), SizeIs(1));
}

TEST(PythonSearch, WithoutAnyInterpreterTellsEveryNameItTried) {
  forgetOtherInterpreters();
  const TemporaryDirectory directory;
  const ScopedRecordingLogger log;

  LinesBehindLock told;
  EXPECT_EQ(findPython(directory.file("") + "/", told), nullptr);
  told.write();

  const auto lines = log->linesWith("python runtime not found, tried: ");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_THAT(lines[0].text, HasSubstr(" (no interpreter that serves in it); python38.dll ("));
  for (int minor = 9; minor <= 13; ++minor) {
    EXPECT_THAT(lines[0].text, HasSubstr("; python3" + std::to_string(minor) + ".dll ("));
  }
}

TEST(PythonSearch, TakesALibraryOfTheSearchPathAndNoneOfTheCurrentFolder) {
  forgetOtherInterpreters();
  const TemporaryDirectory directory;
  fs::copy_file(BARE_PYTHON, directory.path() / "python39.dll");
  const fs::path before = fs::current_path();
  fs::current_path(directory.path());
  const ScopedRecordingLogger log;
  for (const bool isOnPath : {false, true}) {
    (void)_wputenv_s(L"PATH", isOnPath ? directory.path().c_str() : L".");

    LinesBehindLock told;
    EXPECT_EQ(findPython("nowhere/", told), nullptr);
    told.write();

    const auto lines = log->linesWith("; python39.dll (no function Py_SetPythonHome)");
    EXPECT_THAT(lines, SizeIs(isOnPath ? 1 : 0)) << isOnPath;
  }
  forgetOtherInterpreters();
  fs::current_path(before);
}

TEST(PythonSearch, EndsAtAnOldInterpreterBehindTheStableInterface) {
  forgetOtherInterpreters();
  std::string reason;
  const auto stable = SharedLibrary::open(Path(STABLE_PYTHON), reason);
  ASSERT_NE(stable, nullptr) << reason;
  const auto interpreter = SharedLibrary::open(Path(OLD_PYTHON39), reason);
  ASSERT_NE(interpreter, nullptr) << reason;
  const ScopedRecordingLogger log;

  LinesBehindLock told;
  EXPECT_EQ(findPython("nowhere/", told), nullptr);
  told.write();

  EXPECT_THAT(log->linesWith("the process's own interpreter (version 3.7.16 is none from 3.8 upwards)"),
              SizeIs(1));
}

TEST(PythonSearch, GoesOnWhereTheStableInterfaceHasNoInterpreter) {
  forgetOtherInterpreters();
  const TemporaryDirectory directory;
  std::filesystem::copy_file(STABLE_PYTHON, directory.path() / "python3.dll");
  {
    std::string reason;
    const auto stable = SharedLibrary::open(Path(directory.file("python3.dll")), reason);
    ASSERT_NE(stable, nullptr) << reason;
    const ScopedRecordingLogger log;

    LinesBehindLock told;
    EXPECT_EQ(findPython("nowhere/", told), nullptr);
    told.write();

    EXPECT_THAT(log->linesWith("python runtime not found, tried: nowhere/ ("), SizeIs(1));
  }
}

}  // namespace
