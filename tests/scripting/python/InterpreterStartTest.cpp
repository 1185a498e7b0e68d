// The calls that begin and end an interpreter of the library's, as a stand-in for one notes them.
#include "scripting/python/PythonRunTime.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/Process.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

using namespace KBL;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class NotingPython : public testing::Test {
 protected:
  NotingPython() { setenv("MEDIATRANSFER_PYTHON", NOTING_PYTHON, 1); }
  ~NotingPython() override { (void)teardownTransferEnv(); }

  /// Every call so far, one a line.
  static std::string calls() { return place<const char*()>("notingCalls")(); }
  static int& setting(const char* name) { return place<int>(name); }

 private:
  template <class Kind>
  static Kind& place(const char* name) {
    std::string reason;
    static const auto library = SharedLibrary::open(Path(NOTING_PYTHON), reason);
    if (library == nullptr) throw std::runtime_error(reason);
    return *reinterpret_cast<Kind*>(library->symbol(name));
  }
};

TEST_F(NotingPython, IsBegunAndEndedStepByStep) {
  EXPECT_EQ(setupTransferEnv("/home/", 0), 0);
  const std::string begun =
      "Py_SetPythonHome /home/\n"
      "Py_Initialize 111\n"
      "PyEval_InitThreads\n"
      "PyRun_SimpleStringFlags import threading\n"
      "_PyThreadState_UncheckedGet\n"
      "PyEval_ReleaseThread\n"
      "PyGILState_Ensure\n"
      "PyGILState_Release 7\n";
  EXPECT_EQ(calls(), begun);
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_EQ(calls(), begun + "PyGILState_Ensure\nPy_Finalize\n");
  for (const char* const name : {"Py_UTF8Mode", "Py_IgnoreEnvironmentFlag", "Py_NoUserSiteDirectory"}) {
    EXPECT_EQ(setting(name), 0) << name;
  }
}

TEST_F(NotingPython, WithoutAThreadOfItsOwnReleasesNone) {
  setting("notingHasNoThread") = 1;
  EXPECT_EQ(setupTransferEnv("/home/", 0), 0);
  EXPECT_THAT(calls(), HasSubstr("_PyThreadState_UncheckedGet\nPyGILState_Ensure\n"));
  EXPECT_THAT(calls(), Not(HasSubstr("PyEval_ReleaseThread")));
}

TEST_F(NotingPython, ThatDoesNotRunBehindItsStartServesNobody) {
  setting("notingFails") = 1;
  EXPECT_EQ(setupTransferEnv("/home/", 0), 0);
  EXPECT_FALSE(CPythonRunTime::getEnvironment()->initialised());
  EXPECT_EQ(CPythonRunTime::getEnvironment()->CreateAuInstance(0)->GetLoginURL(), "");
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_THAT(calls(), StartsWith("Py_SetPythonHome /home/\nPy_Initialize "));
  EXPECT_THAT(calls(), Not(HasSubstr("PyGILState_Ensure")));
  EXPECT_THAT(calls(), Not(HasSubstr("Py_Finalize")));
}
}  // namespace
