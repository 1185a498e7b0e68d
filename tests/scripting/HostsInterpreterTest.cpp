// An interpreter that the host started itself.
#include "scripting/AuthNUploadObj.h"
#include "scripting/HostsPython.h"
#include "scripting/PythonCall.h"
#include "scripting/PythonEnvironment.h"
#include "scripting/ScriptEventEntry.h"
#include "scripting/ScriptObject.h"
#include "support/RecordingLogger.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

using namespace KBL;

namespace {

const std::string answering = recorderWith("{'GetLoginURL': 'https://login'}");

TEST(HostsOwnInterpreter, IsUsedAndNeitherTakenNorEnded) {
  const ScriptHome home(answering);
  const PythonApi& api = hostsPython();
  const PyThreadState* const state = startHostsPython();
  ASSERT_NE(state, nullptr);
  ASSERT_EQ(api.PyRun_SimpleStringFlags("import sys, threading\nhosts = threading.get_ident()\n", nullptr),
            0);

  // All of it with the interpreter lock in this thread's hand.
  const ScopedRecordingLogger log;
  ASSERT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  EXPECT_TRUE(log->hasLine("python runtime started by the host"));
  EXPECT_EQ(api.PyThreadState_GetUnchecked(), state);
  ASSERT_TRUE(CPythonRunTime::getEnvironment()->initialised());
  EXPECT_EQ(makeObject()->GetLoginURL(), "https://login");
  EXPECT_EQ(api.PyThreadState_GetUnchecked(), state);
  CPythonRunTime::teardown();

  EXPECT_TRUE(log->linesWith("not ended").empty());
  EXPECT_NE(api.Py_IsInitialized(), 0);
  EXPECT_EQ(api.PyThreadState_GetUnchecked(), state);
  EXPECT_EQ(api.PyRun_SimpleStringFlags("assert hosts == threading.get_ident()", nullptr), 0);
  api.Py_Finalize();
}

TEST(HostsOwnInterpreter, IsNotCalledAfterTheHostEndedIt) {
  const ScriptHome home(answering);
  (void)startHostsPython();
  ASSERT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  const auto object = makeObject();
  EXPECT_EQ(object->GetLoginURL(), "https://login");
  hostsPython().Py_Finalize();
  EXPECT_EQ(object->GetLoginURL(), "");
  object->StopUpload();
  EXPECT_EQ(makeObject()->GetLoginURL(), "");
  CPythonRunTime::teardown();
}

TEST(HostsOwnInterpreter, IsKnownFromAFormerOneOfTheLibrarys) {
  const auto home = loadedHome(answering);
  CPythonRunTime::teardown();
  PyThreadState* const state = startHostsPython();
  const ScopedRecordingLogger log;
  home->setUp();
  EXPECT_TRUE(log->hasLine("python runtime started by the host"));
  CPythonRunTime::teardown();
  EXPECT_NE(hostsPython().Py_IsInitialized(), 0);
  EXPECT_EQ(hostsPython().PyThreadState_GetUnchecked(), state);
  hostsPython().Py_Finalize();
}

// --- Whoever holds the interpreter lock may call

TEST(InterpreterLock, InTheCallersHandDoesNotStopTheLoadOnAnotherThread) {
  const ScriptHome home(answering);
  home.setUp();
  const PythonApi& api = *PythonGate::instance().running();
  const int lock = api.PyGILState_Ensure();
  std::thread loading([] { EXPECT_NE(CPythonRunTime::getEnvironment(), nullptr); });
  // Once the other thread has the mutex it waits for the interpreter lock, which this one holds.
  EXPECT_TRUE(waitUntil([] {
    if (!pythonMutex.try_lock()) return true;
    pythonMutex.unlock();
    return false;
  }));
  EXPECT_EQ(makeObject()->GetLoginURL(), "https://login");
  api.PyGILState_Release(lock);
  loading.join();
  CPythonRunTime::teardown();
}

TEST(InterpreterLock, InTheCallersHandComesBackWithoutTheScriptsError) {
  const auto home = loadedHome("import sys\n" + recorderAnswering("'Logout': sys.exit"));
  const PythonApi& api = *PythonGate::instance().running();
  const int lock = api.PyGILState_Ensure();
  makeObject()->Logout();
  EXPECT_EQ(api.PyErr_ExceptionMatches(*api.PyExc_SystemExit), 0);
  api.PyGILState_Release(lock);
  CPythonRunTime::teardown();
}

class Finished final : public IUploadEventSink {
 public:
  void userCallBack(unsigned, const char* text, int) override { text_ = text; }
  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
};

TEST(InterpreterLock, IsNotNeededForAnEventNorForTheEndOfAnUploadObject) {
  const auto home = loadedHome(answering);
  auto object = std::make_unique<CAuthNUploadObj>();
  EXPECT_EQ(object->SetPlatform(0), 0);
  const auto events = std::make_shared<Finished>();
  const ScriptEventHandle handle(events);
  const PythonApi& api = *PythonGate::instance().running();
  const int lock = api.PyGILState_Ensure();
  std::thread([&] {
    scriptEventEntry(handle.value(), uploadEventFinished, "done");
    object.reset();
  }).join();
  EXPECT_EQ(events->text(), "done");
  api.PyGILState_Release(lock);
  CPythonRunTime::teardown();
}
}  // namespace
