// A host's logger runs under no lock of the library's: one that calls the library back must not wait for
// itself.
#include "scripting/python/HostsPython.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptObject.h"
#include "support/RecordingLogger.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace KBL;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

/// Notes whether another thread could take the interpreter's mutex while a line was asked for or written.
class WatchingLogger final : public RecordingLogger {
 public:
  bool testSeverity(Severity severity) override {
    watch();
    return RecordingLogger::testSeverity(severity);
  }
  void write(Severity severity, const char* file, int line, const char* function,
             const std::string& text) override {
    watch();
    RecordingLogger::write(severity, file, line, function, text);
  }

  [[nodiscard]] int calls() const { return calls_; }
  [[nodiscard]] int callsUnderLock() const { return callsUnderLock_; }

 private:
  void watch() {
    ++calls_;
    std::thread([this] {
      if (pythonMutex.try_lock()) {
        pythonMutex.unlock();
      } else {
        ++callsUnderLock_;
      }
    }).join();
  }

  std::atomic<int> calls_{0};
  std::atomic<int> callsUnderLock_{0};
};

class LoggerOfTheScripts : public testing::Test {
 protected:
  LoggerOfTheScripts() { installLogger(logger_); }
  ~LoggerOfTheScripts() override { installLogger(nullptr); }

  /// The texts in their order.
  [[nodiscard]] std::vector<std::string> texts() const {
    std::vector<std::string> all;
    for (const LogLine& line : logger_->lines()) all.push_back(line.text);
    return all;
  }

  void expectUnlocked() const {
    EXPECT_GT(logger_->calls(), 0);
    EXPECT_EQ(logger_->callsUnderLock(), 0);
  }

  const std::shared_ptr<WatchingLogger> logger_ = std::make_shared<WatchingLogger>();
};

TEST_F(LoggerOfTheScripts, IsCalledBehindTheLockOfASetupAndALoad) {
  const ScriptHome home(recorderWith());
  const auto library = std::filesystem::path(testedPython().library);
  std::filesystem::create_symlink(library, home.path() + library.filename().string());
  setenv("MEDIATRANSFER_PYTHON", "/nothing/of/this/name.so", 1);
  EXPECT_EQ(setupTransferEnv(home.path().c_str(), 0), 0);
  EXPECT_NE(makeObject(), nullptr);
  CPythonRunTime::teardown();
  EXPECT_THAT(texts(), ElementsAre(StartsWith("python runtime of the variable is passed over: "),
                                   StartsWith("init python: "), StartsWith("init lib: ")));
  expectUnlocked();
}

TEST_F(LoggerOfTheScripts, IsCalledBehindTheLockWithoutAPath) {
  EXPECT_EQ(setupTransferEnv("", 0), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_THAT(texts(), ElementsAre("python runtime path not configure", StartsWith("init python: ")));
  expectUnlocked();
}

TEST_F(LoggerOfTheScripts, IsCalledBehindTheLockWhereNoInterpreterServes) {
  std::string reason;
  const auto old = SharedLibrary::open(Path(OLD_PYTHON), reason);
  ASSERT_NE(old, nullptr) << reason;
  EXPECT_EQ(setupTransferEnv("/home/", 0), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_THAT(texts(),
              ElementsAre(StartsWith("python runtime not found, tried: "), StartsWith("init python: ")));
  expectUnlocked();
}

TEST_F(LoggerOfTheScripts, IsCalledBehindTheLockForAHostsInterpreter) {
  const ScriptHome home(recorderWith());
  (void)startHostsPython();
  EXPECT_EQ(setupTransferEnv(home.path().c_str(), 0), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_THAT(texts(), ElementsAre("python runtime started by the host", StartsWith("init python: ")));
  expectUnlocked();
  hostsPython().Py_Finalize();
}

TEST_F(LoggerOfTheScripts, IsCalledBehindTheLockOfATeardownThatAScriptHoldsUp) {
  const ScriptHome home(waitingRecorder());
  std::filesystem::current_path(home.parent().path());
  home.setUp();
  const auto object = makeObject();
  std::thread waiting([&] { EXPECT_EQ(object->GetLoginURL(), "ended"); });
  ASSERT_TRUE(waitUntil([] { return std::filesystem::exists("begun"); }));
  logger_->clear();
  CPythonRunTime::teardown();
  home.setUp();
  EXPECT_THAT(texts(), ElementsAre("python runtime not ended yet, a script still runs",
                                   "python runtime not started, the former one has not ended",
                                   StartsWith("init python: ")));
  expectUnlocked();
  home.parent().write("end", "");
  waiting.join();
  CPythonRunTime::teardown();
}
}  // namespace
