// Threads that come back to an interpreter that has ended, which takes them with it: their stacks unwind
// through the library.
#include "scripting/python/HostsPython.h"
#include "scripting/python/ProcessThreads.h"
#include "scripting/python/PythonCall.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptHome.h"
#include "support/RecordingLogger.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

using namespace KBL;

namespace {

std::atomic<bool> inside{false};

/// A host that enters the interpreter in its own function, as one written in Python does, and stays there.
int neverBack(void*, IExternlMediaTransfer*, int, int, const char*) {
  const int lock = hostsPython().PyGILState_Ensure();
  inside = true;
  (void)hostsPython().PyRun_SimpleStringFlags("import time\nwhile True: time.sleep(0.001)", nullptr);
  hostsPython().PyGILState_Release(lock);
  return 0;
}

RefPtr<IExternlMediaTransfer> makeTransfer() {
  auto transfer = adoptRef(createEMTUpTransfer(KBL::transferFacebook));
  const TransferCallback callback = neverBack;
  const hostTransferRecord record{};
  EXPECT_EQ(transfer->Command(KBL::commandSetCallback, callback), 0);
  EXPECT_EQ(transfer->Command(KBL::commandSetRecord, &record), 0);
  return transfer;
}

/// Lets the other threads run until one is inside, and ends the host's interpreter then.
void endHostsPythonOnceInside() {
  PyThreadState* const own = hostsPython().PyEval_SaveThread();
  EXPECT_TRUE(waitUntil([] { return inside || std::filesystem::exists("inside"); }));
  hostsPython().PyEval_RestoreThread(own);
  hostsPython().Py_Finalize();
}

TEST(EndOfTheHostsInterpreter, TakesTheThreadOfAScriptOutOfAnEvent) {
  const std::size_t before = threadsAtStart();
  const ScriptHome home(scriptWith(R"(
    def StartUpload(self, *fields):
        import threading
        threading.Thread(target=self.report, args=(2, "done"), daemon=True).start()
)"));
  (void)startHostsPython();
  ASSERT_EQ(setupTransferEnv(home.path().c_str(), 0), 0);
  const auto transfer = makeTransfer();
  EXPECT_EQ(transfer->Start(), 0);
  endHostsPythonOnceInside();
  EXPECT_TRUE(daemonThreadsEnd(before));
  EXPECT_EQ(transfer->Stop(), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
}

TEST(EndOfTheHostsInterpreter, TakesTheThreadOfAHostOutOfACall) {
  const std::size_t before = threadsAtStart();
  const ScriptHome home(scriptWith(R"(
    def StartUpload(self, *fields):
        import time
        open("inside", "w").close()
        while True:
            time.sleep(0.001)
)"));
  std::filesystem::current_path(home.parent().path());
  (void)startHostsPython();
  ASSERT_EQ(setupTransferEnv(home.path().c_str(), 0), 0);
  const auto transfer = makeTransfer();
  std::thread([&] { (void)transfer->Start(); }).detach();
  endHostsPythonOnceInside();
  EXPECT_TRUE(daemonThreadsEnd(before));
  EXPECT_EQ(transfer->Stop(), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
}

/// True when the thread of that number of the system's sleeps.
bool sleeps(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  const std::string stat{std::istreambuf_iterator<char>(file), {}};
  const std::size_t name = stat.rfind(") ");
  return name != std::string::npos && stat[name + 2] == 'S';
}

TEST(EndOfTheHostsInterpreter, TakesAThreadThatWaitsToEnterOutOfTheCountOfThoseInside) {
  // Python 3.12 frees the state of a thread that waits for its lock and reads it afterwards, which may crash.
  if (testedPython().stdlib.filename() == "python3.12") return;
  const std::size_t before = threadsAtStart();
  const ScriptHome home(recorderWith());
  (void)startHostsPython();
  home.setUp();
  const std::shared_ptr<CPythonAuObject> object = CPythonRunTime::getEnvironment()->CreateAuInstance(0);
  std::atomic<pid_t> waiting{0};
  // With the interpreter lock in this thread's hand the call can sleep nowhere but for that lock.
  std::thread([object, &waiting] {
    waiting = gettid();
    (void)object->GetLoginURL();
  }).detach();
  ASSERT_TRUE(waitUntil([&] { return waiting != 0 && sleeps(waiting); }));
  hostsPython().Py_Finalize();
  CPythonRunTime::teardown();
  // Python 3.8 never lets the thread go, which stays inside then.
  if (testedPython().stdlib.filename() == "python3.8") return;
  EXPECT_TRUE(daemonThreadsEnd(before));

  home.setUp();
  const ScopedRecordingLogger log;
  CPythonRunTime::teardown();
  EXPECT_TRUE(log->linesWith("not ended").empty());
  EXPECT_EQ(hostsPython().Py_IsInitialized(), 0);
}

TEST(EndOfTheLibrarysInterpreter, LeavesTheThreadThatAsksForItWithTheInterpreterLockInHand) {
  const auto home = loadedHome(recorderWith());
  const PythonApi& api = *PythonGate::instance().running();
  std::atomic<bool> back{false};
  std::thread host([&] {
    (void)api.PyGILState_Ensure();
    EXPECT_EQ(teardownTransferEnv(), 0);
    back = true;
  });
  EXPECT_TRUE(waitUntil([&] { return back.load(); }));
  host.join();
  EXPECT_EQ(api.Py_IsInitialized(), 0);
}
}  // namespace
