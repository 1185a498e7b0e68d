#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

namespace KBL {

/// A text that is dear to read, and changes seldom: read again once it is older than its time. One that came
/// out empty is not kept. Any thread; who asks while it is read waits.
class TextForAWhile {
 public:
  using Clock = std::chrono::steady_clock;

  TextForAWhile(std::function<std::string()> read, Clock::duration time)
      : read_(std::move(read)), time_(time) {}

  [[nodiscard]] std::string at(Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    if (text_.empty() || now - readAt_ >= time_) {
      text_ = read_();
      readAt_ = now;
    }
    return text_;
  }

 private:
  const std::function<std::string()> read_;
  const Clock::duration time_;
  std::mutex mutex_;
  std::string text_;
  Clock::time_point readAt_;
};

}  // namespace KBL
