#pragma once

#include <ExternlMediaTransfer/host/EventQueue.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>
#if defined(__cpp_impl_coroutine)
#include <coroutine>
#endif

namespace KBL::host {

template <class Value>
class Promise;

/// A value that comes once. Copies are about the same value. Any thread.
template <class Value>
class Eventual {
 public:
  /// The value, once it is there.
  [[nodiscard]] std::optional<Value> get() const { return waitFor(std::chrono::milliseconds(0)); }
  /// The same, which is waited for no longer than `limit`. Not on the thread that has to bring it.
  [[nodiscard]] std::optional<Value> waitFor(std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(state_->mutex);
    state_->arrived.wait_for(lock, limit, [this] { return state_->value.has_value(); });
    return state_->value;
  }

  /// Calls `next` with the value, through the executor of whatever brings it.
  /// Calls back within itself: a value that is there already, without a queue.
  void then(std::function<void(const Value&)> next) const {
    {
      const std::lock_guard<std::mutex> lock(state_->mutex);
      if (!state_->value) return state_->waiting.push_back(std::move(next));
    }
    State::call(state_, std::move(next));
  }

  /// For code that has futures already.
  [[nodiscard]] std::future<Value> future() const {
    const auto promise = std::make_shared<std::promise<Value>>();
    then([promise](const Value& value) { promise->set_value(value); });
    return promise->get_future();
  }

#if defined(__cpp_impl_coroutine)
  /// The coroutine goes on where `then` would call.
  auto operator co_await() const {
    struct Awaiter {
      Eventual eventual;
      [[nodiscard]] bool await_ready() const { return eventual.get().has_value(); }
      void await_suspend(std::coroutine_handle<> coroutine) const {
        const Eventual kept = eventual;  // the coroutine may end, and this with it, within the call
        kept.then([coroutine](const Value&) { coroutine.resume(); });
      }
      [[nodiscard]] Value await_resume() const { return *eventual.get(); }
    };
    return Awaiter{*this};
  }
#endif

 private:
  friend class Promise<Value>;

  struct State {
    static void call(const std::shared_ptr<State>& state, std::function<void(const Value&)> next) {
      state->executor([state, next = std::move(next)] { next(*state->value); });
    }

    std::mutex mutex;
    std::condition_variable arrived;
    std::optional<Value> value;  // stays as it is once it is there
    std::vector<std::function<void(const Value&)>> waiting;
    Executor executor;
  };

  explicit Eventual(std::shared_ptr<State> state) : state_(std::move(state)) {}

  std::shared_ptr<State> state_;
};

/// Whoever brings the value. Any thread.
template <class Value>
class Promise {
 public:
  explicit Promise(Executor executor = &directly) : state_(std::make_shared<State>()) {
    state_->executor = std::move(executor);
  }

  [[nodiscard]] Eventual<Value> eventual() const { return Eventual<Value>(state_); }

  /// False when there is a value already, which stays. What functions throw that wait for it is dropped.
  bool set(Value value) const {
    std::vector<std::function<void(const Value&)>> waiting;
    {
      const std::lock_guard<std::mutex> lock(state_->mutex);
      if (state_->value) return false;
      state_->value.emplace(std::move(value));
      waiting.swap(state_->waiting);
    }
    state_->arrived.notify_all();
    for (auto& next : waiting) {
      try {
        State::call(state_, std::move(next));
      } catch (...) {  // the others hear of it all the same, and whoever brings it goes on
      }
    }
    return true;
  }

 private:
  using State = typename Eventual<Value>::State;
  std::shared_ptr<State> state_;
};

}  // namespace KBL::host
