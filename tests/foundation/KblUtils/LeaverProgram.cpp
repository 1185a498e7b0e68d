// Returns from main while timers tick and detached threads sleep, log and save.

#include <KblLogger/KblLogger.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/TimeUtil.h>
#include <KblUtils/Timer.h>

#include <cstdlib>
#include <thread>

namespace {

class DiscardingLogger : public KBL::IBsLogger {
 public:
  bool testSeverity(Severity) override { return true; }
  void write(Severity, const char*, int, const char*, const std::string&) override {}
};

void work() {
  KBL::TimeSpan span;
  span.start();
  KBL_LOG(severityInfo, "still here at " << KBL::TimeUtil::now("%H:%M:%S") << ", " << span.end().timeSpan());
}

}  // namespace

int main(int, char** arguments) {
  const int runMs = arguments[1] == nullptr ? 0 : std::atoi(arguments[1]);
  KBL::installLogger(std::make_shared<DiscardingLogger>());
  static KBL::Timer& neverDestroyed = *new KBL::Timer;
  static KBL::Timer destroyedAtExit;
  neverDestroyed.StartTimer(1, work);
  destroyedAtExit.StartTimer(1, work);
  for (int sleeper = 0; sleeper < 8; ++sleeper) {
    std::thread([sleeper] {
      for (;;) {
        KBL::TimeUtil::sleepMs(sleeper);
        work();
      }
    }).detach();
  }
  KBL::TimeUtil::sleepMs(runMs);
  return 0;
}
