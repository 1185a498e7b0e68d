#include "EventQueue.h"

#include <utility>

namespace host {

void EventQueue::push(Event event) {
  {
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
  }
  arrived_.notify_one();
}

std::optional<Event> EventQueue::pop(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  if (!arrived_.wait_for(lock, limit, [this] { return !events_.empty(); })) return std::nullopt;
  Event event = std::move(events_.front());
  events_.pop_front();
  return event;
}

EventQueue& eventQueue() {
  static EventQueue& queue = *new EventQueue;
  return queue;
}

}  // namespace host
