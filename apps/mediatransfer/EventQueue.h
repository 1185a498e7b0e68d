#pragma once

#include "Events.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

namespace host {

/// Brings events from the library's threads to the main thread, in their order.
class EventQueue {
 public:
  /// Any thread.
  void push(Event event);
  /// The next event, or nothing after `limit`. Main thread.
  [[nodiscard]] std::optional<Event> pop(std::chrono::milliseconds limit);

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<Event> events_;
};

/// The queue of the process. It is never destroyed: a worker of the library may be inside a callback while
/// the program ends.
[[nodiscard]] EventQueue& eventQueue();

}  // namespace host
