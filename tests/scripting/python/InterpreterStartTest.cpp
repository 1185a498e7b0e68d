// The calls that an interpreter gets from the library, from its start to its end, as a stand-in notes them.
// A process loads one interpreter and one script: where all tests run in one, these two come first.
#include "scripting/python/PythonAuObject.h"
#include "scripting/python/PythonCall.h"
#include "scripting/python/PythonLibrary.h"
#include "scripting/python/PythonRunTime.h"
#include "support/TemporaryDirectory.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/Process.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

using namespace KBL;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace fs = std::filesystem;

namespace {

/// An empty value takes the variable away.
void setVariable(const char* name, const std::string& value) {
#if defined(_WIN32)
  (void)_putenv_s(name, value.c_str());
#else
  (void)(value.empty() ? unsetenv(name) : setenv(name, value.c_str(), 1));
#endif
}

const bool isOld = std::string(NOTING_VERSION) == "3.8";

/// In one process this comes first: whatever is found serves from then on.
TEST(PythonInTheHome, ServesUnderTheSystemsNameForIts) {
  setVariable("MEDIATRANSFER_PYTHON", "");
  const std::string home = std::string(NOTING_HOME) + "/";
  EXPECT_EQ(setupTransferEnv(home.c_str(), 0), 0);
  const PythonApi* const found = findLoadedPython();
  ASSERT_NE(found, nullptr);
  EXPECT_TRUE(fs::equivalent(fs::path(found->library->name()), fs::path(NOTING_PYTHON)))
      << found->library->name();
  EXPECT_THAT(std::string(found->Py_GetVersion()), StartsWith(NOTING_VERSION));
  EXPECT_EQ(teardownTransferEnv(), 0);
}

class NotingPython : public testing::Test {
 protected:
  NotingPython() {
    setVariable("MEDIATRANSFER_PYTHON", NOTING_PYTHON);
    // From here on it is found, so that every test hears the same calls.
    (void)setupTransferEnv("/home/", 0);
    (void)teardownTransferEnv();
    setting("notingHasNoThread") = 0;
    setting("notingFails") = 0;
    setting("notingSystemExit") = 0;
    setting("notingAnswer") = 't';
    forget();
  }
  ~NotingPython() override { (void)teardownTransferEnv(); }

  /// Every call so far, one a line, but for the question whether it runs, which comes with each.
  static std::string calls() {
    std::istringstream all(place<const char*()>("notingCalls")());
    std::string others;
    for (std::string line; std::getline(all, line);) {
      if (line != "Py_IsInitialized") others += line + "\n";
    }
    return others;
  }
  static std::string callsBy(const std::function<void()>& action) {
    forget();
    action();
    return calls();
  }
  static void forget() { place<void()>("notingForget")(); }
  static int& setting(const char* name) { return place<int>(name); }

  template <class Kind>
  static Kind& place(const char* name) {
    std::string reason;
    static const auto library = SharedLibrary::open(Path(NOTING_PYTHON), reason);
    if (library == nullptr) throw std::runtime_error(reason);
    return *reinterpret_cast<Kind*>(library->symbol(name));
  }
};

/// A call that enters the interpreter and leaves it.
std::string entered(const std::string& calls) {
  return "PyGILState_Ensure\nPySys_GetObject _mediatransfer\n" + calls +
         "PyGILState_GetThisThreadState\nPyThreadState_GetUnchecked\nPyErr_Clear\nPyGILState_Release 7\n";
}

const std::string runtimeScript = "script \xC3\xA9\n";

/// A home with a script, and with letters that are the same in each encoding of wide ones.
class HomeWithScript {
 public:
  HomeWithScript() {
    fs::create_directories(directory_.path() / u8"h\u00F6me \u6F22" / "pythondlls");
    directory_.write("h\xC3\xB6me \xE6\xBC\xA2/pythondlls/authupload.py", runtimeScript);
  }
  [[nodiscard]] std::string path() const {
    std::string path = directory_.file("h\xC3\xB6me \xE6\xBC\xA2/");
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
  }

 private:
  TemporaryDirectory directory_;
};

// In one process the first that loads a script, since only one is loaded.
TEST_F(NotingPython, LoadsTheScriptOnceWhenItIsAskedFor) {
  const HomeWithScript home;
  EXPECT_EQ(setupTransferEnv(home.path().c_str(), 0), 0);
  EXPECT_THAT(calls(), HasSubstr("/h<246>me <28450>/\n"));
  const auto appended = [&home](const char* folder) {
    return "PyRun_SimpleStringFlags sys.path.append('" + home.path() + folder + "')\n";
  };
  const std::string unlocked = "PyGILState_GetThisThreadState\n";
  EXPECT_EQ(
      callsBy([] { EXPECT_NE(CPythonRunTime::getEnvironment(), nullptr); }),
      unlocked + entered(entered(
                     "Py_CompileStringExFlags '" + runtimeScript + "' pythonrt 257 null -1\n" +
                     "PyRun_SimpleStringFlags import sys\n" + appended("python38.zip") +
                     appended("pythondlls") + appended("pysocialnetwork") +
                     "PyImport_ExecCodeModule pythonrt code\nPy_DecRef code\nPyModule_GetDict module\n")));
  EXPECT_EQ(callsBy([] { EXPECT_NE(CPythonRunTime::getEnvironment(), nullptr); }), unlocked);
  EXPECT_EQ(callsBy([] { EXPECT_NE(CPythonRunTime::getEnvironment()->CreateAuInstance(2), nullptr); }),
            unlocked + entered("PyDict_GetItemString names CreateAuInstance\nPy_IncRef factory\n"
                               "PyObject_CallFunction factory 'vimeo'\nPy_DecRef factory\n"));
}

TEST_F(NotingPython, IsBegunAndEndedStepByStep) {
  EXPECT_EQ(setupTransferEnv("/home/", 0), 0);
  const std::string begun =
      "Py_SetPythonHome /home/\n" +
      std::string(isOld ? "Py_Initialize 111\nPyEval_InitThreads\n" : "Py_Initialize\n") +
      "PyRun_SimpleStringFlags import threading\n"
      "PyThreadState_GetUnchecked\n"
      "PyEval_ReleaseThread state\n"
      "PyGILState_Ensure\n"
      "PyCapsule_New _mediatransfer\n"
      "PySys_SetObject _mediatransfer mark\n"
      "Py_DecRef mark\n"
      "PyGILState_Release 7\n";
  EXPECT_EQ(calls(), begun);
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_EQ(calls(), begun + "PyGILState_GetThisThreadState\nPyGILState_Ensure\nPy_Finalize\n");
  if (!isOld) return;
  for (const char* const name : {"Py_UTF8Mode", "Py_IgnoreEnvironmentFlag", "Py_NoUserSiteDirectory"}) {
    EXPECT_EQ(setting(name), 0) << name;
  }
}

TEST_F(NotingPython, WithoutAThreadOfItsOwnReleasesNone) {
  setting("notingHasNoThread") = 1;
  EXPECT_EQ(setupTransferEnv("/home/", 0), 0);
  EXPECT_THAT(calls(), HasSubstr("PyThreadState_GetUnchecked\nPyGILState_Ensure\n"));
  EXPECT_THAT(calls(), Not(HasSubstr("PyEval_ReleaseThread")));
}

TEST_F(NotingPython, ThatDoesNotRunBehindItsStartServesNobody) {
  setting("notingFails") = 1;
  EXPECT_EQ(setupTransferEnv("/home/", 0), 0);
  EXPECT_FALSE(CPythonRunTime::getEnvironment()->initialised());
  EXPECT_EQ(CPythonRunTime::getEnvironment()->CreateAuInstance(0)->GetLoginURL(), "");
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_THAT(calls(), HasSubstr("Py_SetPythonHome /home/\nPy_Initialize"));
  EXPECT_THAT(calls(), Not(HasSubstr("PyGILState_Ensure")));
  EXPECT_THAT(calls(), Not(HasSubstr("Py_Finalize")));
}

TEST_F(NotingPython, GivesItsLockUpWhileOthersAreWaitedFor) {
  ASSERT_EQ(setupTransferEnv("/home/", 0), 0);
  (void)place<int()>("PyGILState_Ensure")();
  EXPECT_THAT(
      callsBy([] { EXPECT_NE(CPythonRunTime::getEnvironment(), nullptr); }),
      AllOf(StartsWith("PyGILState_GetThisThreadState\nPyThreadState_GetUnchecked\nPyEval_SaveThread\n"),
            EndsWith("PyEval_RestoreThread state\n")));
  place<void(int)>("PyGILState_Release")(0);
}

/// An object of the script's, for which the stand-in plays.
class NotingObject : public NotingPython {
 protected:
  NotingObject() {
    (void)setupTransferEnv("/home/", 0);
    // Whatever is not null stands for the names of the script's module.
    object_ =
        CPythonAuObject::create(PythonGate::instance().lastLife(), reinterpret_cast<PyObject*>(this), 0);
  }

  const CPythonAuObject& object() const { return *object_; }

 private:
  std::unique_ptr<CPythonAuObject> object_;
};

TEST_F(NotingObject, GetsTheCallbackAndTheHostsNumber) {
  EXPECT_EQ(callsBy([this] { object().SetCallback(nullptr, 1LL << 40); }),
            entered("PyCapsule_New SetCallback\nPy_BuildValue (O) capsule\nPy_DecRef capsule\n"
                    "PyObject_CallMethod instance SetCallback arguments\nPy_DecRef arguments\n"
                    "PyObject_CallMethod instance SetUserObj 1099511627776\n"));
}

TEST_F(NotingObject, GetsTextsAndNone) {
  EXPECT_EQ(callsBy([this] { object().SetBrand("lumenfold"); }),
            entered("PyObject_CallMethod instance SetBrand 'lumenfold'\n"));
  EXPECT_EQ(callsBy([this] { object().SetAppKey(nullptr); }),
            entered("PyObject_CallMethod instance SetAppKey None\n"));
  EXPECT_EQ(callsBy([this] { object().ShareLink("a", "b"); }),
            entered("PyObject_CallMethod instance ShareLink 'a' 'b' ''\n"));
}

TEST_F(NotingObject, GetsAnUploadWithoutAThumbnailThatIsNotThere) {
  hostTransferRecord record{};
  const std::string path = "video.mp4";
  path.copy(record.filePath, path.size());
  EXPECT_EQ(callsBy([&] { object().StartUpload(record); }),
            entered("PyObject_CallMethod instance StartUpload 'video.mp4' '' '' '' '' ''\n"));
  EXPECT_EQ(callsBy([this] { object().StopUpload(); }), entered("PyObject_CallMethod instance StopUpload\n"));
}

TEST_F(NotingObject, AnswersTextsOfEachKind) {
  const std::string asked = "PyObject_CallMethod instance GetUserName\n";
  EXPECT_EQ(callsBy([this] { EXPECT_EQ(object().GetUserName(), "answer"); }),
            entered(asked + "PyObject_Type text\nPyType_GetFlags type of text\nPy_DecRef type of text\n"
                            "PyUnicode_AsUTF8String text\nPyBytes_AsString bytes\n"));
  setting("notingAnswer") = 'b';
  EXPECT_EQ(callsBy([this] { EXPECT_EQ(object().GetUserName(), "answer"); }),
            entered(asked + "PyObject_Type bytes\nPyType_GetFlags type of bytes\nPy_DecRef type of bytes\n"
                            "PyBytes_AsString bytes\n"));
  setting("notingAnswer") = 'n';
  EXPECT_EQ(
      callsBy([this] { EXPECT_EQ(object().GetUserName(), "answer"); }),
      entered(asked + "PyObject_Type number\nPyType_GetFlags type of number\nPy_DecRef type of number\n"
                      "PyObject_Repr number\nPyUnicode_AsEncodedString repr utf-8 strict\nPy_DecRef repr\n"
                      "PyBytes_AsString bytes\nPy_DecRef bytes\n"));
}

TEST_F(NotingObject, AnswersNumbersOfBothKinds) {
  setting("notingAnswer") = 'n';
  EXPECT_EQ(callsBy([this] { EXPECT_EQ(object().callForNumber("GetVideoHD"), 41); }),
            entered("PyObject_CallMethod instance GetVideoHD\nPyLong_AsLong number\n"));
  EXPECT_EQ(callsBy([this] { EXPECT_EQ(object().VerifyRedirectURL("url"), 42); }),
            entered("PyObject_CallMethod instance VerifyRedirectURL 'url'\nPyLong_AsInt number\n"));
}

TEST_F(NotingObject, HasItsErrorsPrinted) {
  setting("notingAnswer") = 0;
  const std::string asked = "PyObject_CallMethod instance GetUserName\nPyErr_ExceptionMatches SystemExit\n";
  EXPECT_EQ(callsBy([this] { EXPECT_EQ(object().GetUserName(), ""); }), entered(asked + "PyErr_Print\n"));
  setting("notingSystemExit") = 1;
  EXPECT_EQ(callsBy([this] { EXPECT_EQ(object().GetUserName(), ""); }),
            entered(asked + "PyErr_WriteUnraisable null\n"));
  EXPECT_EQ(callsBy([this] { object().Logout(); }), entered("PyObject_CallMethod instance Logout\n"));
}

TEST_F(NotingObject, IsCalledNoMoreBehindTheEnd) {
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_EQ(callsBy([this] { EXPECT_EQ(object().GetUserName(), ""); }), "");
}

// The names are read out of the library's own source when the stand-in is built.
TEST_F(NotingPython, HasEveryNameOfTheTable) {
  std::string reason;
  const auto library = SharedLibrary::open(Path(NOTING_PYTHON), reason);
  ASSERT_NE(library, nullptr) << reason;
  std::istringstream names(place<const char*()>("notingNames")());
  int count = 0;
  for (std::string name; std::getline(names, name); ++count) {
    EXPECT_NE(library->symbol(name.c_str()), nullptr) << name;
  }
  EXPECT_GE(count, 36);
}

}  // namespace
