#include "report/SlowCall.h"

#include <system_error>
#include <utility>

namespace host {

SlowCall::SlowCall(Report& report, std::string what, std::chrono::milliseconds after) {
  try {
    watch_ = std::thread([this, &report, after, said = std::move(what)] {
      std::unique_lock lock(mutex_);
      if (!over_.wait_for(lock, after, [this] { return isOver_; })) report.waiting(said);
    });
  } catch (const std::system_error&) {
    // The call goes without a word.
  }
}

SlowCall::~SlowCall() {
  {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
  }
  over_.notify_all();
  if (watch_.joinable()) watch_.join();
}

}  // namespace host
