#pragma once

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

/// Keeps what somebody is told, in the order in which it comes. Any thread.
template <class Event>
class Recorder {
 public:
  /// Runs inside every call, after it was kept and without a lock. Set before the first call.
  std::function<void(const Event&)> inside;

  [[nodiscard]] std::vector<Event> events() const {
    const std::lock_guard lock(mutex_);
    return events_;
  }

 protected:
  void keep(Event event) {
    {
      const std::lock_guard lock(mutex_);
      events_.push_back(event);
    }
    if (inside) inside(event);
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Event> events_;
};
