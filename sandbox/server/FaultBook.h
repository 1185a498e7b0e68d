#pragma once

#include "sandbox/base/Fault.h"
#include "sandbox/base/Route.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

namespace sandbox {

/// The orders of faults and the count of what was delivered. Thread-safe.
class FaultBook {
 public:
  struct Delivery {
    FaultId id = 0;
    Fault fault;
  };
  struct Order {
    FaultId id = 0;
    Route route = Route::unknown;
    Fault fault;
    unsigned skip = 0;       ///< requests that still pass before the first delivery
    unsigned remaining = 0;  ///< deliveries still owed; without meaning when endless
    bool endless = false;
    bool withdrawn = false;
    unsigned delivered = 0;
  };

  FaultId order(Route route, Fault fault, unsigned nth, unsigned times);
  /// Called once for each request of a route; what is returned counts as under way, not yet as delivered.
  std::optional<Delivery> take(Route route);
  /// The fault has happened, or has begun to (a stall).
  void delivered(FaultId id);

  [[nodiscard]] unsigned deliveredCount(FaultId id) const;
  [[nodiscard]] unsigned deliveredCount() const;
  [[nodiscard]] unsigned outstanding() const;
  [[nodiscard]] std::vector<Order> orders() const;
  bool waitForDelivered(FaultId id, unsigned count, std::chrono::milliseconds limit);
  void withdrawAll();
  /// False for an unknown order.
  bool withdraw(FaultId id);

  /// Blocks a stalled exchange for one slice of time. True once it may go on: released or stopping.
  enum class Stall { held, released, stopping };
  [[nodiscard]] std::uint64_t stallGeneration() const;
  Stall holdStall(std::uint64_t generation, std::chrono::milliseconds slice);
  void releaseStalls();
  /// Waits out `delay`; false when the sandbox stopped first.
  bool pause(std::chrono::milliseconds delay);
  /// Ends all waits for good.
  void stop();

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Order> orders_;
  FaultId lastId_ = 0;
  std::uint64_t stallGeneration_ = 0;
  bool stopping_ = false;
};

}  // namespace sandbox
