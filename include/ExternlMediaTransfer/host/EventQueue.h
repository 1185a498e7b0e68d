#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace KBL::host {

/// How what the library tells reaches the host: takes a piece of work and runs it, at once or later, each one
/// once and in their order. It is called on threads of the library, where what it throws is dropped.
using Executor = std::function<void(std::function<void()>)>;

/// Runs the work on the thread that brings it, as the numbered interface does.
inline void directly(const std::function<void()>& work) {
  work();
}

/// Carries work to one thread, as a rule the one that has the windows. Any thread may bring it; `run` and
/// `runFor` belong to that one. What comes when the queue has gone is dropped.
class EventQueue {
 public:
  /// `wake` is called behind each piece of work that arrives, on the thread that brings it, and asks the
  /// host's main loop to call `run` soon. A call may end just behind the queue, so that what it uses lives
  /// longer.
  explicit EventQueue(std::function<void()> wake = {}) : state_(std::make_shared<State>()) {
    state_->wake = std::move(wake);
  }
  ~EventQueue() {
    std::deque<std::function<void()>> dropped;  // goes behind the lock: what it held may bring work
    const std::lock_guard<std::mutex> lock(state_->mutex);
    state_->isClosed = true;
    dropped.swap(state_->work);
  }
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;

  /// Brings work here.
  [[nodiscard]] Executor executor() const {
    return [state = state_](std::function<void()> work) { state->add(std::move(work)); };
  }

  /// Runs what has arrived, and what arrives meanwhile; how many pieces. What the work throws comes out here,
  /// the rest stays for the next call.
  std::size_t run() {
    std::size_t count = 0;
    while (runNext(std::chrono::milliseconds(0))) ++count;
    return count;
  }
  /// The same for hosts without a loop of their own: waits for the first piece, no longer than `limit`.
  std::size_t runFor(std::chrono::milliseconds limit) { return runNext(limit) ? 1 + run() : 0; }

 private:
  /// What the piece held goes here, too, outside of the lock: it may bring work, or wait for who does.
  bool runNext(std::chrono::milliseconds limit) {
    std::function<void()> work;
    if (!state_->take(work, limit)) return false;
    work();
    return true;
  }

  struct State {
    void add(std::function<void()> piece) {
      {
        const std::lock_guard<std::mutex> lock(mutex);
        if (isClosed) return;
        work.push_back(std::move(piece));
      }
      arrived.notify_one();
      if (wake) wake();
    }
    bool take(std::function<void()>& piece, std::chrono::milliseconds limit) {
      std::unique_lock<std::mutex> lock(mutex);
      if (!arrived.wait_for(lock, limit, [this] { return !work.empty(); })) return false;
      piece = std::move(work.front());
      work.pop_front();
      return true;
    }

    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<std::function<void()>> work;
    std::function<void()> wake;
    bool isClosed = false;
  };

  const std::shared_ptr<State> state_;  // a thread of the library may be about to bring something
};

}  // namespace KBL::host
