#include "sandbox/server/FaultBook.h"

#include <algorithm>

namespace sandbox {

FaultId FaultBook::order(Route route, Fault fault, unsigned nth, unsigned times) {
  const std::lock_guard lock(mutex_);
  Order order;
  order.id = ++lastId_;
  order.route = route;
  order.fault = std::move(fault);
  order.skip = nth == 0 ? 0 : nth - 1;
  order.remaining = times;
  order.endless = times == 0;
  orders_.push_back(std::move(order));
  return lastId_;
}

std::optional<FaultBook::Delivery> FaultBook::take(Route route) {
  const std::lock_guard lock(mutex_);
  std::optional<Delivery> delivery;
  for (Order& order : orders_) {
    if (order.route != route || order.withdrawn || (!order.endless && order.remaining == 0)) continue;
    if (order.skip > 0) {
      --order.skip;
      continue;
    }
    if (delivery) continue;
    if (!order.endless) --order.remaining;
    delivery = Delivery{order.id, order.fault};
  }
  return delivery;
}

void FaultBook::delivered(FaultId id) {
  const std::lock_guard lock(mutex_);
  for (Order& order : orders_) {
    if (order.id == id) ++order.delivered;
  }
  changed_.notify_all();
}

unsigned FaultBook::deliveredCount(FaultId id) const {
  const std::lock_guard lock(mutex_);
  const auto order =
      std::find_if(orders_.begin(), orders_.end(), [id](const Order& o) { return o.id == id; });
  return order == orders_.end() ? 0 : order->delivered;
}

unsigned FaultBook::deliveredCount() const {
  const std::lock_guard lock(mutex_);
  unsigned count = 0;
  for (const Order& order : orders_) count += order.delivered;
  return count;
}

unsigned FaultBook::outstanding() const {
  const std::lock_guard lock(mutex_);
  unsigned count = 0;
  for (const Order& order : orders_) {
    if (order.withdrawn) continue;
    count += order.endless ? (order.delivered == 0 ? 1 : 0) : order.remaining;
  }
  return count;
}

std::vector<FaultBook::Order> FaultBook::orders() const {
  const std::lock_guard lock(mutex_);
  return orders_;
}

bool FaultBook::waitForDelivered(FaultId id, unsigned count, std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  const auto reached = [&] {
    const auto order =
        std::find_if(orders_.begin(), orders_.end(), [id](const Order& o) { return o.id == id; });
    return order != orders_.end() && order->delivered >= count;
  };
  changed_.wait_for(lock, limit, [&] { return stopping_ || reached(); });
  return reached();
}

void FaultBook::withdrawAll() {
  const std::lock_guard lock(mutex_);
  for (Order& order : orders_) order.withdrawn = true;
}

bool FaultBook::withdraw(FaultId id) {
  const std::lock_guard lock(mutex_);
  const auto order =
      std::find_if(orders_.begin(), orders_.end(), [id](const Order& known) { return known.id == id; });
  if (order == orders_.end()) return false;
  order->withdrawn = true;
  return true;
}

std::uint64_t FaultBook::stallGeneration() const {
  const std::lock_guard lock(mutex_);
  return stallGeneration_;
}

FaultBook::Stall FaultBook::holdStall(std::uint64_t generation, std::chrono::milliseconds slice) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, slice, [&] { return stopping_ || stallGeneration_ != generation; });
  if (stopping_) return Stall::stopping;
  return stallGeneration_ != generation ? Stall::released : Stall::held;
}

void FaultBook::releaseStalls() {
  const std::lock_guard lock(mutex_);
  ++stallGeneration_;
  changed_.notify_all();
}

bool FaultBook::pause(std::chrono::milliseconds delay) {
  std::unique_lock lock(mutex_);
  return !changed_.wait_for(lock, delay, [&] { return stopping_; });
}

void FaultBook::stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
}

}  // namespace sandbox
