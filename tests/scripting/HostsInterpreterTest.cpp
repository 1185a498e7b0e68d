// An interpreter that the host started itself.
#include "scripting/AuthNUploadObj.h"
#include "scripting/UploadEnd.h"
#include "scripting/python/HostsPython.h"
#include "scripting/python/PythonCall.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptEventEntry.h"
#include "scripting/python/ScriptObject.h"
#include "support/RecordingLogger.h"
#include "support/RecordingSink.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

using namespace KBL;
using testing::ElementsAre;
using testing::HasSubstr;

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
  EXPECT_EQ(log->linesWith("started by the host")[0].severity, KBL::IBsLogger::severityInfo);
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

TEST(HostsOwnInterpreter, IsNotTakenForTheNextOneThatTheHostStarts) {
  const ScriptHome home(answering);
  (void)startHostsPython();
  ASSERT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  const auto environment = CPythonRunTime::getEnvironment();
  const auto object = makeObject();
  EXPECT_EQ(object->GetLoginURL(), "https://login");
  hostsPython().Py_Finalize();
  const PyThreadState* const state = startHostsPython();

  EXPECT_EQ(object->GetLoginURL(), "");
  EXPECT_EQ(object->VerifyRedirectURL("u"), 0);
  EXPECT_EQ(object->SetAccessToken("t"), 0);
  object->SetCallback(scriptEventEntry, 1);
  object->StopUpload();
  EXPECT_EQ(environment->CreateAuInstance(0)->GetLoginURL(), "");
  EXPECT_EQ(hostsPython().PyThreadState_GetUnchecked(), state);
  CPythonRunTime::teardown();

  // From a new setup on the new one is known, and the former one's objects stay nothing.
  ASSERT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  EXPECT_TRUE(CPythonRunTime::getEnvironment()->initialised());
  EXPECT_EQ(object->GetLoginURL(), "");
  CPythonRunTime::teardown();
  EXPECT_EQ(hostsPython().PyThreadState_GetUnchecked(), state);
  hostsPython().Py_Finalize();
}

TEST(HostsOwnInterpreter, ThatFollowsTheOneOfTheSetupGetsNoScript) {
  const ScriptHome home("import sys\nsys.loaded = True\n" + answering);
  (void)startHostsPython();
  ASSERT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  hostsPython().Py_Finalize();
  (void)startHostsPython();
  EXPECT_EQ(makeObject()->GetLoginURL(), "");
  EXPECT_EQ(hostsPython().PyRun_SimpleStringFlags("import sys\nassert not hasattr(sys, 'loaded')", nullptr),
            0);
  CPythonRunTime::teardown();
  hostsPython().Py_Finalize();
}

TEST(HostsOwnInterpreter, WhosePathHasModulesOfOthersServesTheScriptsThatComeWithTheLibrary) {
  const TemporaryDirectory foreign;
  for (const char* const name : {"json.py", "ssl.py", "pysocialnetwork.py"}) {
    (void)foreign.write(name, "FOREIGN = True\n");
  }
  (void)startHostsPython();
  ASSERT_EQ(hostsPython().PyRun_SimpleStringFlags(
                ("import sys\nsys.path.insert(0, '" + foreign.path().string() + "')\nimport json\n").c_str(),
                nullptr),
            0);
  ASSERT_TRUE(CPythonRunTime::setHomePath(PYTHON_HOME "/", 0));
  const auto object = makeObject(2);
  object->SetAppKey("the-id");
  object->SetAppSecret("the-secret");
  object->SetRedirectURL("https://back.example/");
  EXPECT_THAT(object->GetLoginURL(), HasSubstr("client_id=the-id"));
  EXPECT_EQ(object->SetAccessToken("no token of its"), 0);
  EXPECT_EQ(object->GetLastError(), "the access token is damaged or none of this uploader");
  CPythonRunTime::teardown();
  EXPECT_EQ(
      hostsPython().PyRun_SimpleStringFlags("import ssl, pysocialnetwork\n"
                                            "assert json.FOREIGN and ssl.FOREIGN and pysocialnetwork.FOREIGN",
                                            nullptr),
      0);
  hostsPython().Py_Finalize();
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

TEST(InterpreterLock, InTheCallersHandDoesNotStopTheSetupOnAnotherThread) {
  const ScriptHome home(answering);
  PyThreadState* const state = startHostsPython();
  std::thread first([&] { EXPECT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0)); });
  // Once the other thread has the mutex it waits for the interpreter lock, which this one holds.
  EXPECT_TRUE(waitUntil([] {
    if (!pythonMutex.try_lock()) return true;
    pythonMutex.unlock();
    return false;
  }));
  EXPECT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  EXPECT_EQ(hostsPython().PyThreadState_GetUnchecked(), state);
  PyThreadState* const own = hostsPython().PyEval_SaveThread();
  first.join();
  hostsPython().PyEval_RestoreThread(own);
  EXPECT_EQ(makeObject()->GetLoginURL(), "https://login");
  CPythonRunTime::teardown();
  hostsPython().Py_Finalize();
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

TEST(InterpreterLock, IsGivenUpWhileTheLastReleaseWaitsForAnEventThatNeedsIt) {
  const ScopedRecordingLogger log;
  const ScriptHome home(answering);
  PyThreadState* const state = startHostsPython();
  ASSERT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  InstalledManager manager(ema_youtube);
  FakeUpload upload(manager);
  std::atomic<bool> inside{false};
  std::atomic<bool> left{false};
  upload.onEvent = [&](IExternlMediaTransfer*) {
    inside = true;
    const int own = hostsPython().PyGILState_Ensure();
    left = true;
    hostsPython().PyGILState_Release(own);
  };
  std::thread worker([&] { upload.report(); });
  ASSERT_TRUE(waitUntil([&] { return inside.load(); }));

  EXPECT_EQ(upload.transfer->Release(), 0);

  EXPECT_TRUE(left);
  EXPECT_EQ(hostsPython().PyThreadState_GetUnchecked(), state);
  worker.join();
  CPythonRunTime::teardown();
  hostsPython().Py_Finalize();
}

TEST(InterpreterLock, IsNotNeededForAnEventNorForTheEndOfAnUploadObject) {
  const auto home = loadedHome(answering);
  auto object = std::make_unique<CAuthNUploadObj>();
  EXPECT_EQ(object->SetPlatform(0), 0);
  const auto events = std::make_shared<RecordingSink>();
  const ScriptEventHandle handle(events);
  const PythonApi& api = *PythonGate::instance().running();
  const int lock = api.PyGILState_Ensure();
  std::thread([&] {
    scriptEventEntry(handle.value(), uploadEventFinished, "done");
    object.reset();
  }).join();
  EXPECT_THAT(events->events(), ElementsAre(ReportedEvent{uploadEventFinished, "done", 0}));
  api.PyGILState_Release(lock);
  CPythonRunTime::teardown();
}
}  // namespace
