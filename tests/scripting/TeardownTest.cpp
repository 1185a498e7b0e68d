// The end of the interpreter while threads of scripts and of hosts are under way.
#include "scripting/AuthNUploadObj.h"
#include "scripting/EventTransfer.h"
#include "scripting/python/ProcessThreads.h"
#include "scripting/python/PythonCall.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptHome.h"
#include "support/Flag.h"
#include "support/RecordingLogger.h"
#include "support/WaitUntil.h"
#include <KblUtils/RefPtr.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

using namespace KBL;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const PythonApi& runningApi() {
  return *PythonGate::instance().running();
}

/// Reports progress for ever from a thread of its own.
std::string endlessScript(bool daemon) {
  return scriptWith(std::string(R"(
    def StartUpload(self, *fields):
        import threading
        threading.Thread(target=self.run, daemon=)") +
                    (daemon ? "True" : "False") + R"().start()

    def StopUpload(self):
        pass

    def run(self):
        import os, time
        while not os.path.exists("end"):
            self.report(1, "7")
            time.sleep(0.001)
)");
}

TEST(TeardownUnderWay, WithADaemonThreadOfTheScriptIsQuiet) {
  const std::size_t before = threadsAtStart();
  const auto home = loadedHome(endlessScript(true));
  std::atomic<int> heard{0};
  onEvent = [&](int, const std::string&) { ++heard; };
  const auto transfer = makeTransfer();
  for (int upload = 0; upload < 4; ++upload) EXPECT_EQ(transfer->Start(), 0);
  ASSERT_TRUE(waitUntil([&] { return heard > 20; }));
  const PythonApi& api = runningApi();
  const ScopedRecordingLogger log;
  CPythonRunTime::teardown();
  EXPECT_EQ(api.Py_IsInitialized(), 0);
  EXPECT_THAT(log->linesWith("not ended"), IsEmpty());
  EXPECT_TRUE(daemonThreadsEnd(before));
}

TEST(TeardownUnderWay, AThreadThatComesBackFromTheHostAfterItEnds) {
  const std::size_t before = threadsAtStart();
  const auto home = loadedHome(endlessScript(true));
  KeptEvents kept;
  auto transfer = makeTransfer();
  EXPECT_EQ(transfer->Start(), 0);
  ASSERT_TRUE(kept.waitForOne());
  const PythonApi& api = runningApi();
  CPythonRunTime::teardown();
  EXPECT_EQ(api.Py_IsInitialized(), 0);
  kept.letGo();
  EXPECT_TRUE(daemonThreadsEnd(before));
  transfer = {};
}

TEST(TeardownUnderWay, AThreadInsideTheHostMayUseTheTransferWhichDoesNothing) {
  const auto home = loadedHome(endlessScript(true));
  Flag used;
  const auto transfer = makeTransfer();
  KeptEvents kept([&] {
    EXPECT_EQ(transfer->Stop(), 0);
    used.raise();
  });
  EXPECT_EQ(transfer->Start(), 0);
  ASSERT_TRUE(kept.waitForOne());
  CPythonRunTime::teardown();
  kept.letGo();
  EXPECT_TRUE(used.wait());
}

TEST(TeardownUnderWay, DoesNotWaitForEverForAThreadThatIsNoDaemon) {
  const std::size_t before = threadsAtStart();
  const ScriptHome home(endlessScript(false));
  std::filesystem::current_path(home.parent().path());
  home.setUp();
  std::atomic<int> heard{0};
  onEvent = [&](int, const std::string&) { ++heard; };
  const auto transfer = makeTransfer();
  EXPECT_EQ(transfer->Start(), 0);
  ASSERT_TRUE(waitUntil([&] { return heard > 0; }));
  const PythonApi& api = runningApi();
  const ScopedRecordingLogger log;
  CPythonRunTime::teardown();
  EXPECT_THAT(log->linesWith("python runtime not ended yet, a script still runs"), SizeIs(1));
  EXPECT_EQ(log->linesWith("python runtime not ended yet")[0].severity, KBL::IBsLogger::severityWarning);
  const int atTeardown = heard;
  EXPECT_TRUE(waitUntil([&] { return heard > atTeardown; }));

  home.setUp();
  EXPECT_TRUE(log->hasLine("python runtime not started, the former one has not ended"));
  EXPECT_FALSE(CPythonRunTime::getEnvironment()->initialised());
  CPythonRunTime::teardown();

  home.parent().write("end", "");
  EXPECT_TRUE(waitUntil([&] { return threadsOfTheProcess() <= before; }));
  EXPECT_EQ(api.Py_IsInitialized(), 0);
  home.setUp();
  EXPECT_TRUE(CPythonRunTime::getEnvironment()->initialised());
  CPythonRunTime::teardown();
}

TEST(TeardownUnderWay, DoesNotTakeTheInterpreterFromAThreadOfTheHosts) {
  const ScriptHome home(waitingRecorder());
  std::filesystem::current_path(home.parent().path());
  home.setUp();
  const PythonApi& api = runningApi();
  const auto object = CPythonRunTime::getEnvironment()->CreateAuInstance(0);
  std::thread waiting([&] { EXPECT_EQ(object->GetLoginURL(), "ended"); });
  ASSERT_TRUE(waitUntil([] { return std::filesystem::exists("begun"); }));
  const ScopedRecordingLogger log;
  CPythonRunTime::teardown();
  EXPECT_THAT(log->linesWith("python runtime not ended yet, a script still runs"), SizeIs(1));
  EXPECT_EQ(CPythonRunTime::getEnvironment(), nullptr);
  EXPECT_EQ(object->GetUserName(), "");
  EXPECT_NE(api.Py_IsInitialized(), 0);
  home.parent().write("end", "");
  waiting.join();
  EXPECT_TRUE(waitUntil([&] { return api.Py_IsInitialized() == 0; }));
}

TEST(TeardownUnderWay, MayBeCalledInsideAnEventOnAThreadOfTheScript) {
  const std::size_t before = threadsAtStart();
  const auto home = loadedHome(endlessScript(true));
  const PythonApi& api = runningApi();
  Flag called;
  onEvent = [&](int, const std::string&) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(teardownTransferEnv(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
    called.raise();
  };
  auto transfer = makeTransfer();
  EXPECT_EQ(transfer->Start(), 0);
  EXPECT_TRUE(called.wait());
  EXPECT_TRUE(waitUntil([&] { return api.Py_IsInitialized() == 0; }));
  EXPECT_TRUE(daemonThreadsEnd(before));
  EXPECT_EQ(CPythonRunTime::getEnvironment(), nullptr);
}

TEST(TeardownUnderWay, MayBeCalledInsideAnEventDuringACall) {
  const auto home = loadedHome(scriptWith(R"(
    def StartUpload(self, *fields):
        self.report(2, "done")
        calls.append("back")
        open("back", "w").close()
)"));
  std::filesystem::current_path(home->parent().path());
  const PythonApi& api = runningApi();
  onEvent = [&](int, const std::string&) { EXPECT_EQ(teardownTransferEnv(), 0); };
  const auto transfer = makeTransfer();
  EXPECT_EQ(transfer->Start(), 0);
  EXPECT_TRUE(std::filesystem::exists("back"));
  EXPECT_TRUE(waitUntil([&] { return api.Py_IsInitialized() == 0; }));
}

TEST(TeardownUnderWay, MayBeCalledInsideAnEventThatKeepsTheInterpreterLock) {
  const auto home = loadedHome(scriptWith(R"(
    def SetCallback(self, capsule):
        keeping = ctypes.PYFUNCTYPE(None, ctypes.c_ssize_t, ctypes.c_uint32, ctypes.c_char_p)
        self.callback = keeping(_address(capsule, b"SetCallback"))

    def StartUpload(self, *fields):
        import threading
        threading.Thread(target=self.report, args=(2, "done"), daemon=True).start()
)"));
  const PythonApi& api = runningApi();
  Flag called;
  onEvent = [&](int, const std::string&) {
    EXPECT_NE(CPythonRunTime::getEnvironment(), nullptr);
    EXPECT_EQ(teardownTransferEnv(), 0);
    called.raise();
  };
  const auto transfer = makeTransfer();
  EXPECT_EQ(transfer->Start(), 0);
  EXPECT_TRUE(called.wait());
  EXPECT_TRUE(waitUntil([&] { return api.Py_IsInitialized() == 0; }));
}

TEST(TeardownUnderWay, BetweenCallsOfManyThreadsIsQuiet) {
  const auto home = loadedHome(endlessScript(true));
  const PythonApi& api = runningApi();
  std::atomic<int> rounds{0};
  std::atomic<bool> over{false};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      while (!over) {
        const auto transfer = makeTransfer();
        // One made after the teardown has no script.
        EXPECT_THAT(transfer->Start(), testing::AnyOf(0, 3));
        (void)transfer->Stop();
        ++rounds;
      }
    });
  }
  ASSERT_TRUE(waitUntil([&] { return rounds > 40; }));
  CPythonRunTime::teardown();
  EXPECT_EQ(api.Py_IsInitialized(), 0);
  const int atTeardown = rounds;
  EXPECT_TRUE(waitUntil([&] { return rounds > atTeardown + 40; }));
  over = true;
  for (std::thread& thread : threads) thread.join();
}

TEST(ProcessEndDeathTest, WithThreadsOfTheScriptRunningIsClean) {
  EXPECT_EXIT(
      {
        const auto home = loadedHome(endlessScript(true));
        // They are still heard while the statics of the process end.
        auto& heard = *new std::atomic<int>(0);
        onEvent = [&](int, const std::string&) { ++heard; };
        const auto transfer = makeTransfer();
        (void)transfer->Start();
        const bool reported = waitUntil([&] { return heard > 20; });
        std::exit(reported ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}
}  // namespace
