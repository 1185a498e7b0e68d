#pragma once

#include <KblUtils/Export.h>

#include <functional>
#include <memory>
#include <mutex>

namespace KBL {

/// A repeating timer with a thread of its own. The first tick comes after one period, then one each period
/// until Expire; ticks that fall due while a tick runs are dropped. Neither Expire nor the destructor waits
/// for a running tick, and either may come from within it: the function must hold weakly what may die
/// meanwhile. An exception of a tick ends that tick alone. Any thread may call; calls are serialised.
class KBL_UTILS_API Timer {
 public:
  Timer();
  ~Timer();
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  /// Expires a running wait and starts the repetition. A period below 1 counts as 1 ms. False when no thread
  /// could be made.
  bool StartTimer(int milliseconds, std::function<void()> function);
  /// Ends the repetition at once; no tick begins afterwards. 1 when it was running, else 0.
  int Expire();

 private:
  class Run;
  std::mutex mutex_;
  std::shared_ptr<Run> run_;
};

}  // namespace KBL
