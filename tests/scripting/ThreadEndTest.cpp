// Threads that come back to an interpreter that has ended, which takes them with it: their stacks unwind
// through the library.
#include "boundary/ExternlMediaTransfer.h"
#include "foundation/object/RefPtr.h"
#include "scripting/HostsPython.h"
#include "scripting/ProcessThreads.h"
#include "scripting/PythonCall.h"
#include "scripting/PythonRunTime.h"
#include "scripting/ScriptHome.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
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
  auto transfer = adoptRef(createEMTUpTransfer(0));
  const TransferCallback callback = neverBack;
  const hostTransferRecord record{};
  EXPECT_EQ(transfer->Command(1, callback), 0);
  EXPECT_EQ(transfer->Command(0, &record), 0);
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
