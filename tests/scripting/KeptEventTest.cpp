// The last Release of an upload transfer while an event runs on a thread of its script.
#include "scripting/EventTransfer.h"
#include "scripting/python/HostsPython.h"
#include "scripting/python/PythonCall.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptHome.h"
#include "support/Flag.h"
#include "support/ManualTimeSource.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace KBL;

namespace {

constexpr std::chrono::milliseconds severalLooks{600};
constexpr std::int64_t patienceMs = 5000;

std::string reportingScript() {
  return scriptWith(R"(
    def StartUpload(self, *fields):
        import threading
        threading.Thread(target=self.report, args=(2, "done"), daemon=True).start()
)");
}

/// A transfer whose last Release is brought by a thread of the test's.
class Released {
 public:
  explicit Released(RefPtr<IExternlMediaTransfer> transfer)
      : thread_([this, last = transfer.leak()] {
          EXPECT_EQ(last->Release(), 0);
          hasReturned_ = true;
        }) {}
  ~Released() { thread_.join(); }
  Released(const Released&) = delete;
  Released& operator=(const Released&) = delete;

  [[nodiscard]] bool returns() const {
    return waitUntil([this] { return hasReturned_.load(); });
  }
  [[nodiscard]] bool staysAway() const {
    return !waitUntil([this] { return hasReturned_.load(); }, severalLooks);
  }

 private:
  std::atomic<bool> hasReturned_{false};
  std::thread thread_;
};

TEST(KeptEvent, IsWaitedForAsLongAsItsInterpreterRuns) {
  const ScopedManualTime time;
  const auto home = loadedHome(reportingScript());
  KeptEvents kept;
  auto transfer = makeTransfer();
  EXPECT_EQ(transfer->Start(), 0);
  ASSERT_TRUE(kept.waitForOne());
  {
    const Released released(std::move(transfer));
    EXPECT_TRUE(released.staysAway());
    time->advance(10 * patienceMs);
    EXPECT_TRUE(released.staysAway());
    kept.letGo();
    EXPECT_TRUE(released.returns());
  }
  CPythonRunTime::teardown();
}

// A host may end its interpreter and start another one without a word: the thread in the event stays there,
// since there is nothing for it to come back to.
TEST(KeptEvent, IsGivenUpBehindTheEndOfItsInterpreterThoughAnotherOneRuns) {
  const ScopedManualTime time;
  const ScriptHome home(reportingScript());
  PyThreadState* const own = startHostsPython();
  ASSERT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  static Flag& inside = *new Flag;
  onEvent = [](int, const std::string&) {
    inside.raise();
    while (true) std::this_thread::sleep_for(std::chrono::hours(1));
  };
  auto transfer = makeTransfer();
  EXPECT_EQ(transfer->Start(), 0);
  (void)hostsPython().PyEval_SaveThread();
  ASSERT_TRUE(inside.wait());
  hostsPython().PyEval_RestoreThread(own);
  hostsPython().Py_Finalize();
  PyThreadState* const second = startHostsPython();
  EXPECT_EQ(PythonGate::instance().running(), nullptr);
  // A new setup, too, knows the second one alone.
  CPythonRunTime::teardown();
  ASSERT_TRUE(CPythonRunTime::setHomePath(home.path().c_str(), 0));
  EXPECT_NE(PythonGate::instance().running(), nullptr);
  (void)hostsPython().PyEval_SaveThread();
  {
    const Released released(std::move(transfer));
    EXPECT_TRUE(released.staysAway());
    time->advance(patienceMs);
    EXPECT_TRUE(released.returns());
  }
  hostsPython().PyEval_RestoreThread(second);
  CPythonRunTime::teardown();
}

}  // namespace
