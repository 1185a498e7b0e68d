#pragma once

#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

namespace KBL {

/// A value that flows read while another thread changes it, published as an immutable snapshot. A reader
/// copies a shared pointer under a leaf lock held for that copy alone and waits for no writer; writers are
/// serialised. A former value is destroyed by whoever lets go of it last, outside the locks.
template <class Value>
class Snapshot {
 public:
  Snapshot() : value_(std::make_shared<const Value>()) {}
  explicit Snapshot(Value value) : value_(std::make_shared<const Value>(std::move(value))) {}

  /// The newest published value; never null, never changed afterwards.
  [[nodiscard]] std::shared_ptr<const Value> read() const {
    const std::lock_guard lock(leaf_);
    return value_;
  }

  /// Copies the value, lets `change(Value&)` edit the copy and publishes it. Neither `change` nor the copy of
  /// a value may call host code, and `change` must not change the same snapshot. Returns what `change`
  /// returns.
  template <class Change>
  auto change(Change&& change) {
    std::shared_ptr<const Value> former;  // goes last, behind the lock
    const std::lock_guard writer(writers_);
    former = read();
    const auto next = std::make_shared<Value>(*former);
    if constexpr (std::is_void_v<std::invoke_result_t<Change, Value&>>) {
      std::forward<Change>(change)(*next);
      publish(next);
    } else {
      auto result = std::forward<Change>(change)(*next);
      publish(next);
      return result;
    }
  }

 private:
  void publish(std::shared_ptr<const Value> next) {
    const std::lock_guard lock(leaf_);
    value_.swap(next);
  }

  mutable std::mutex leaf_;
  std::mutex writers_;
  std::shared_ptr<const Value> value_;
};

}  // namespace KBL
