// How the interpreter is found.
#include "scripting/python/PythonCall.h"
#include "scripting/python/PythonLibrary.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptHome.h"
#include "support/RecordingLogger.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

using namespace KBL;
using testing::HasSubstr;
using testing::SizeIs;

namespace fs = std::filesystem;

namespace {

const std::string answering = recorderWith("{'GetLoginURL': 'https://login'}");

/// "3.8", as the folder of the standard library is called.
std::string testedVersion() {
  return testedPython().stdlib.filename().string().substr(std::string("python").size());
}

std::string runningVersion() {
  return pythonValue("'%d.%d' % sys.version_info[:2]");
}

void expectTheTestedPython(const ScriptHome& home) {
  ASSERT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  const auto environment = CPythonRunTime::getEnvironment();
  ASSERT_TRUE(environment->initialised());
  EXPECT_EQ(runningVersion(), testedVersion());
  EXPECT_EQ(environment->CreateAuInstance(0)->GetLoginURL(), "https://login");
  CPythonRunTime::teardown();
}

TEST(PythonSearch, TheVariableNamesTheLibrary) {
  const ScriptHome home(answering);
  setenv(pythonLibraryVariable, testedPython().library.c_str(), 1);
  expectTheTestedPython(home);
}

TEST(PythonSearch, TheVariableComesBeforeTheHome) {
  const ScriptHome home(answering);
  fs::create_symlink(BARE_PYTHON, home.path() + fs::path(testedPython().library).filename().string());
  setenv(pythonLibraryVariable, testedPython().library.c_str(), 1);
  expectTheTestedPython(home);
  EXPECT_EQ(std::getenv("STAND_IN_WAS_LOADED"), nullptr);
}

TEST(PythonSearch, OneThatTheProcessHasLoadedComesFirst) {
  const ScriptHome home(answering);
  // As a plug-in of a host's would: for itself alone.
  ASSERT_NE(dlopen(testedPython().library.c_str(), RTLD_NOW | RTLD_LOCAL), nullptr);
  setenv(pythonLibraryVariable, "/nothing/of/this/name.so", 1);
  expectTheTestedPython(home);
}

class PythonUnderHome : public testing::TestWithParam<const char*> {};

TEST_P(PythonUnderHome, ServesWhereTheVariableNamesNone) {
  const ScriptHome home(answering);
  const fs::path library = testedPython().library;
  fs::create_symlink(library, home.path() + GetParam() + library.filename().string());
  unsetenv(pythonLibraryVariable);
  expectTheTestedPython(home);
}

INSTANTIATE_TEST_SUITE_P(Folders, PythonUnderHome, testing::Values("", "lib/"),
                         [](const auto& test) { return *test.param == '\0' ? "Itself" : "Lib"; });

/// Makes what the variable names in a folder and returns the name.
using MakeFile = std::string (*)(const TemporaryDirectory& directory);

/// The first bytes of the tested library, with one changed, and nothing behind them.
std::string damagedLibrary(const TemporaryDirectory& directory, std::size_t place, char value) {
  std::ifstream whole(testedPython().library, std::ios::binary);
  std::string start(4096, '\0');
  whole.read(start.data(), static_cast<std::streamsize>(start.size()));
  start[place] = value;
  return directory.write("library.so", start);
}

constexpr std::size_t elfClassPlace = 4;
constexpr std::size_t elfMachinePlace = 18;

class PythonVariable : public testing::TestWithParam<std::pair<const char*, MakeFile>> {};

TEST_P(PythonVariable, ThatNamesNoInterpreterIsPassedOver) {
  const TemporaryDirectory directory;
  const ScriptHome home(answering);
  fs::create_symlink(testedPython().library,
                     home.path() + fs::path(testedPython().library).filename().string());
  setenv(pythonLibraryVariable, GetParam().second(directory).c_str(), 1);
  const ScopedRecordingLogger log;
  expectTheTestedPython(home);
  const auto told = log->linesWith("python runtime of the variable is passed over: ");
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told.front().severity, KBL::IBsLogger::severityWarning);
}

INSTANTIATE_TEST_SUITE_P(
    Names, PythonVariable,
    testing::Values(
        std::pair<const char*, MakeFile>{
            "Nothing", [](const TemporaryDirectory&) { return std::string("/nothing/of/this/name.so"); }},
        std::pair<const char*, MakeFile>{"Blank", [](const TemporaryDirectory&) { return std::string(" "); }},
        std::pair<const char*, MakeFile>{
            "VeryLong", [](const TemporaryDirectory&) { return std::string(100000, 'x') + ".so"; }},
        std::pair<const char*, MakeFile>{
            "Folder", [](const TemporaryDirectory& directory) { return directory.path().string(); }},
        std::pair<const char*, MakeFile>{
            "EmptyFile", [](const TemporaryDirectory& directory) { return directory.write("empty.so", ""); }},
        std::pair<const char*, MakeFile>{"TextFile",
                                         [](const TemporaryDirectory& directory) {
                                           return directory.write("ü 'text'.so", "no library, only text\n");
                                         }},
        std::pair<const char*, MakeFile>{"Program",
                                         [](const TemporaryDirectory&) { return testedPython().program; }},
        std::pair<const char*, MakeFile>{"OfAnotherMachine",
                                         [](const TemporaryDirectory& directory) {
                                           return damagedLibrary(directory, elfMachinePlace, 8);
                                         }},
        std::pair<const char*, MakeFile>{
            "Of32Bits",
            [](const TemporaryDirectory& directory) { return damagedLibrary(directory, elfClassPlace, 1); }},
        std::pair<const char*, MakeFile>{"WithoutAllFunctions",
                                         [](const TemporaryDirectory&) { return std::string(BARE_PYTHON); }}),
    [](const auto& test) { return std::string(test.param.first); });

TEST(PythonSearch, TheInterpreterThatWasFoundServesEveryLaterSetup) {
  const ScriptHome home(answering);
  setenv(pythonLibraryVariable, testedPython().library.c_str(), 1);
  expectTheTestedPython(home);
  setenv(pythonLibraryVariable, "/nothing/of/this/name.so", 1);
  ASSERT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  EXPECT_EQ(runningVersion(), testedVersion());
  CPythonRunTime::teardown();
}

// --- None that serves

void expectNone(const ScopedRecordingLogger& log, const std::string& tried) {
  const ScriptHome home(answering);
  ErrorOutput output;
  EXPECT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  EXPECT_EQ(output.text(), "---------->python path:" + home.path() + "\n");
  const auto lines = log->linesWith("python runtime not found, tried: ");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].severity, 2);
  EXPECT_THAT(lines[0].text, HasSubstr(tried));
  const auto environment = CPythonRunTime::getEnvironment();
  ASSERT_NE(environment, nullptr);
  EXPECT_FALSE(environment->initialised());
  EXPECT_EQ(environment->CreateAuInstance(0)->GetLoginURL(), "");
  EXPECT_THAT(log->linesWith("init lib: "), SizeIs(1));
  CPythonRunTime::teardown();
}

TEST(NoPython, IsWhatAnOldOneInTheProcessAmountsTo) {
  ASSERT_NE(dlopen(OLD_PYTHON, RTLD_NOW | RTLD_LOCAL), nullptr);
  setenv(pythonLibraryVariable, testedPython().library.c_str(), 1);
  const ScopedRecordingLogger log;
  expectNone(log, "(version 3.7.16 is none from 3.8 upwards)");
}

TEST(NoPython, IsWhatOneWithoutAllFunctionsAmountsTo) {
  ASSERT_NE(dlopen(BARE_PYTHON, RTLD_NOW | RTLD_LOCAL), nullptr);
  const ScopedRecordingLogger log;
  expectNone(log, "(no function Py_SetPythonHome)");
}

/// A folder in which the system looks for libraries ahead of its own, in a process that a death test starts
/// anew: under the usual names of all versions stand stand-ins, and the tested one as itself where `tested`
/// is true.
class SearchedFolder {
 public:
  explicit SearchedFolder(bool tested) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    // In the process started anew the folder stands already.
    if (std::getenv("TEST_FOLDER_STANDS") != nullptr) return;
    setenv("TEST_FOLDER_STANDS", "1", 1);
    for (int minor = 8; minor <= 13; ++minor) {
      const std::string version = "3." + std::to_string(minor);
      const std::string library = tested && version == testedVersion() ? testedPython().library : BARE_PYTHON;
      for (const std::string& name : SharedLibrary::fileNames("python", version)) {
        fs::create_symlink(library, directory_.file(name));
      }
    }
    setenv("LD_LIBRARY_PATH", directory_.path().c_str(), 1);
    // ThreadSanitizer's suppression of interpreters does not bear that the stand-ins are unloaded.
    setenv("TSAN_OPTIONS", "halt_on_error=1", 1);
    unsetenv(pythonLibraryVariable);
  }

 private:
  TemporaryDirectory directory_;
};

void endProcess() {
  // Without the ends of the objects above, which the test's own process has, too.
  std::quick_exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(PythonSearchDeathTest, OfTheSystemsGoesThroughTheUsualNamesUpwards) {
  const SearchedFolder folder(true);
  EXPECT_EXIT(
      {
        expectTheTestedPython(ScriptHome(answering));
        endProcess();
      },
      testing::ExitedWithCode(0), "");
}

TEST(PythonSearchDeathTest, ThatFindsNoneTellsEverythingItTried) {
  const SearchedFolder folder(false);
  EXPECT_EXIT(
      {
        setenv(pythonLibraryVariable, "/nothing/of/this/name.so", 1);
        const ScopedRecordingLogger log;
        expectNone(
            log, "tried: /nothing/of/this/name.so (/nothing/of/this/name.so: cannot open shared object file");
        for (const std::string part :
             {"/home/ (no interpreter that serves in it); ", "libpython3.8.so.1.0 (no function ",
              "libpython3.13.so.1.0 (no function "}) {
          EXPECT_THAT(log->lines()[0].text, HasSubstr(part));
        }
        endProcess();
      },
      testing::ExitedWithCode(0), "");
}

TEST(PythonTable, IsCompleteWithTheNamesOfEachVersion) {
  std::string reason;
  auto library = SharedLibrary::open(Path(testedPython().library), reason);
  ASSERT_NE(library, nullptr) << reason;
  static const PythonApi* const api = PythonApi::resolve(std::move(library), reason);
  ASSERT_NE(api, nullptr) << reason;
  EXPECT_THAT(std::string(api->Py_GetVersion()), HasSubstr(testedVersion()));
  EXPECT_NE(api->PyThreadState_GetUnchecked, nullptr);
  EXPECT_NE(api->PyLong_AsInt, nullptr);
  EXPECT_EQ(api->Py_IsInitialized(), 0);
}
}  // namespace
