// Events from threads of scripts, and calls beside each other.
#include "scripting/AuthNUploadObj.h"
#include "scripting/EventTransfer.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptHome.h"
#include "support/Flag.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

using namespace KBL;

namespace {

TEST(ScriptEvents, OfAHundredUploadsInARowAllArrive) {
  const auto home = loadedHome(scriptWith(R"(
    def StartUpload(self, *fields):
        import threading
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        for percent in range(0, 101, 10):
            self.report(1, str(percent))
        self.report(2, "https://video")
)"));
  std::atomic<int> progress{0};
  std::atomic<int> finished{0};
  onEvent = [&](int event, const std::string&) { ++(event == 8 ? finished : progress); };
  for (int upload = 1; upload <= 100; ++upload) {
    const auto transfer = makeTransfer();
    ASSERT_EQ(transfer->Start(), 0);
    ASSERT_TRUE(waitUntil([&] { return finished == upload; })) << upload;
  }
  EXPECT_EQ(progress, 1100);
  CPythonRunTime::teardown();
}

TEST(ScriptEvents, ComeFromManyThreadsAtOnce) {
  const auto home = loadedHome(scriptWith(R"(
    def StartUpload(self, *fields):
        import threading
        for _ in range(8):
            threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        for _ in range(200):
            self.report(1, "1")
)"));
  std::atomic<int> heard{0};
  onEvent = [&](int, const std::string&) { ++heard; };
  const auto first = makeTransfer();
  const auto second = makeTransfer();
  EXPECT_EQ(first->Start(), 0);
  EXPECT_EQ(second->Start(), 0);
  EXPECT_TRUE(waitUntil([&] { return heard == 3200; }));
  CPythonRunTime::teardown();
}

TEST(ScriptEvents, OfAThreadThatOutlivesTheTransferReachNobody) {
  const auto home = loadedHome(scriptWith(R"(
    def StartUpload(self, *fields):
        import threading
        Tested.count = 0
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        while True:
            self.report(1, "7")
            Tested.count += 1
)"));
  std::atomic<int> heard{0};
  onEvent = [&](int, const std::string&) { ++heard; };
  auto transfer = makeTransfer();
  EXPECT_EQ(transfer->Start(), 0);
  ASSERT_TRUE(waitUntil([&] { return heard > 0; }));
  transfer = {};
  const int atItsEnd = heard;
  const int count = std::stoi(pythonValue("rt.Tested.count"));
  EXPECT_TRUE(waitUntil([&] { return std::stoi(pythonValue("rt.Tested.count")) > count + 100; }));
  EXPECT_LE(heard, atItsEnd + 1);
  CPythonRunTime::teardown();
}

TEST(ScriptEvents, TheHostMayStopAndReleaseInside) {
  const auto home = loadedHome(scriptWith(R"(
    def StartUpload(self, *fields):
        import threading
        threading.Thread(target=self.report, args=(2, "done"), daemon=True).start()

    def StopUpload(self):
        calls.append("stop")
)"));
  IExternlMediaTransfer* transfer = makeTransfer().leak();
  Flag released;
  onEvent = [&](int, const std::string&) {
    EXPECT_EQ(transfer->Stop(), 0);
    transfer->Release();
    released.raise();
  };
  EXPECT_EQ(transfer->Start(), 0);
  EXPECT_TRUE(released.wait());
  EXPECT_TRUE(waitUntil(
      [] { return pythonValue("rt.calls") == "['stop']" || pythonValue("rt.calls") == "['stop', 'stop']"; }));
  CPythonRunTime::teardown();
}

TEST(ScriptEvents, InsideACallTheHostMayCallAgain) {
  const auto home = loadedHome(scriptWith(R"(
    def StartUpload(self, *fields):
        self.report(1, "5")

    def StopUpload(self):
        calls.append("stop")
)"));
  const auto transfer = makeTransfer();
  onEvent = [&](int, const std::string&) { EXPECT_EQ(transfer->Stop(), 0); };
  EXPECT_EQ(transfer->Start(), 0);
  EXPECT_EQ(pythonValue("rt.calls"), "['stop']");
  CPythonRunTime::teardown();
}

TEST(ScriptEvents, InsideACallTheHostMayReleaseTheTransfer) {
  const auto home = loadedHome(scriptWith(R"(
    def SetAccessToken(self, token):
        self.report(4, "first")
        self.report(4, "after the release")
        return 0

    def GetLastError(self):
        calls.append("error")
        return "why"

    def StopUpload(self):
        calls.append("stop")
)"));
  IExternlMediaTransfer* const transfer = makeTransfer().leak();
  int heard = 0;
  onEvent = [&](int, const std::string&) {
    ++heard;
    transfer->Release();
  };
  char error[CAuthNUploadObj::errorTextRoom] = "";
  EXPECT_EQ(transfer->Command(KBL::commandSetAccessToken, "token", error), 1);
  EXPECT_STREQ(error, "why");
  EXPECT_EQ(heard, 1);
  EXPECT_EQ(pythonValue("rt.calls"), "['stop', 'error']");
  CPythonRunTime::teardown();
}

TEST(ScriptCalls, OneThatWaitsDoesNotHoldUpTheOthers) {
  const ScriptHome home(waitingRecorder(", 'GetUserName': 'me'"));
  std::filesystem::current_path(home.parent().path());
  home.setUp();
  const auto object = CPythonRunTime::getEnvironment()->CreateAuInstance(0);
  std::thread waiting([&] { EXPECT_EQ(object->GetLoginURL(), "ended"); });
  EXPECT_EQ(object->GetUserName(), "me");
  home.parent().write("end", "");
  waiting.join();
  CPythonRunTime::teardown();
}

}  // namespace
