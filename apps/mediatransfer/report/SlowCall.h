#pragma once

#include "report/Report.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace host {

/// After this time people are told what is waited for.
inline constexpr std::chrono::seconds waitingIsTold{2};

/// Tells what a call waits for that does not return, and is over with the object.
class SlowCall {
 public:
  SlowCall(Report& report, std::string what, std::chrono::milliseconds after = waitingIsTold);
  ~SlowCall();
  SlowCall(const SlowCall&) = delete;
  SlowCall& operator=(const SlowCall&) = delete;

 private:
  std::mutex mutex_;
  std::condition_variable over_;
  bool isOver_ = false;
  std::thread watch_;
};

}  // namespace host
