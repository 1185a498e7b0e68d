#pragma once

#include "report/Events.h"
#include "system/neverFreed.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace host {

/// Brings items from the library's threads to the main thread, in their order.
template <class Item>
class WaitingQueue {
 public:
  /// Any thread.
  void push(Item item) {
    const std::lock_guard lock(mutex_);
    items_.push_back(std::move(item));
    arrived_.notify_one();
  }

  /// The next item, or nothing after `limit`. Main thread.
  [[nodiscard]] std::optional<Item> pop(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, limit, [this] { return !items_.empty(); })) return std::nullopt;
    Item item = std::move(items_.front());
    items_.pop_front();
    return item;
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<Item> items_;
};

using EventQueue = WaitingQueue<Event>;

/// The queue of the process. It is never destroyed: a worker of the library may be inside a callback while
/// the program ends.
[[nodiscard]] inline EventQueue& eventQueue() {
  static EventQueue& queue = neverFreed<EventQueue>();
  return queue;
}

}  // namespace host
