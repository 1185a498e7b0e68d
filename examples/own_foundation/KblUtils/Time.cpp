// The system's clocks, and a timer with a thread of its own.
#include <KblUtils/HostCode.h>
#include <KblUtils/TimeSource.h>
#include <KblUtils/TimeUtil.h>
#include <KblUtils/Timer.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <thread>
#include <utility>

namespace KBL {

namespace {

using namespace std::chrono;

class SystemTime final : public ITimeSource {
 public:
  std::uint64_t nowSinceEpochMs() override {
    return static_cast<std::uint64_t>(
        duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count());
  }
  std::int64_t steadyMs() override {
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
  }
  void wait(std::condition_variable& wake, std::unique_lock<std::mutex>& lock,
            std::int64_t deadlineMs) override {
    constexpr std::int64_t longestMs = 3600000;
    const std::int64_t left = (std::min)(deadlineMs - steadyMs(), longestMs);
    if (left > 0) wake.wait_until(lock, steady_clock::now() + milliseconds(left));
  }
};

}  // namespace

std::shared_ptr<ITimeSource> timeSource() {
  // Never freed: threads may ask while the process ends.
  static auto& source = *new std::shared_ptr<ITimeSource>(std::make_shared<SystemTime>());
  return source;
}

std::uint64_t TimeUtil::nowSinceEpoch() {
  return timeSource()->nowSinceEpochMs();
}

std::string TimeUtil::now(const std::string& format) {
  const std::time_t seconds = std::time(nullptr);
  std::tm parts{};
  std::array<char, 256> text{};
  if (localtime_r(&seconds, &parts) == nullptr) return {};
  return std::string(text.data(), std::strftime(text.data(), text.size(), format.c_str(), &parts));
}

void TimeUtil::sleepMs(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

TimeSpan::TimeSpan() : startMs_(-1) {}

void TimeSpan::start() {
  startMs_ = timeSource()->steadyMs();
  spanMs_ = 0;
}

TimeSpan& TimeSpan::end() {
  spanMs_ = elapsedMs();
  return *this;
}

std::int64_t TimeSpan::timeSpan() const {
  return spanMs_;
}

std::int64_t TimeSpan::elapsedMs() const {
  const std::int64_t start = startMs_;
  return start < 0 ? 0 : timeSource()->steadyMs() - start;
}

/// What the timer and its thread share, so that either may go first.
class Timer::Run {
 public:
  Run(std::chrono::milliseconds period, std::function<void()> function)
      : period_(period), due_(steady_clock::now() + period), function_(std::move(function)) {}

  /// On a thread of its own, which takes leave of itself: one that ends while another thread detaches it
  /// leaves the thread library of mingw-w64 in disorder.
  static void start(const std::shared_ptr<Run>& run) {
    const std::lock_guard<std::mutex> lock(run->mutex_);
    run->thread_ = std::thread([run] {
      const Leave leave{*run};
      run->repeat();
    });
  }
  bool expire() {
    const std::lock_guard<std::mutex> lock(mutex_);
    wake_.notify_all();
    return !std::exchange(isOver_, true);
  }

 private:
  struct Leave {
    ~Leave() {
      const std::lock_guard<std::mutex> lock(run.mutex_);
      run.thread_.detach();
    }
    Run& run;
  };

  void repeat() {
    while (waitUntilDue()) {
      try {
        if (function_) function_();
      } catch (...) {
        passThreadEnd();
      }
      const auto late = (std::max)(steady_clock::now() - due_, steady_clock::duration::zero());
      due_ += (late / period_ + 1) * period_;
    }
  }
  bool waitUntilDue() {
    std::unique_lock<std::mutex> lock(mutex_);
    return !wake_.wait_until(lock, due_, [this] { return isOver_; });
  }

  const steady_clock::duration period_;
  steady_clock::time_point due_;
  const std::function<void()> function_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool isOver_ = false;
  std::thread thread_;
};

Timer::Timer() = default;

Timer::~Timer() {
  Expire();
}

bool Timer::StartTimer(int milliseconds, std::function<void()> function) try {
  const auto period = std::chrono::milliseconds((std::max)(milliseconds, 1));
  const auto run = std::make_shared<Run>(period, std::move(function));
  const std::lock_guard<std::mutex> lock(mutex_);
  if (run_) run_->expire();
  run_.reset();
  Run::start(run);
  run_ = run;
  return true;
} catch (const std::exception&) {
  return false;
}

int Timer::Expire() {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto run = std::exchange(run_, nullptr);
  return run && run->expire() ? 1 : 0;
}

}  // namespace KBL
