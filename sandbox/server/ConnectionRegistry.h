#pragma once

#include "sandbox/system/Socket.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>

namespace sandbox {

/// The open connections, so that a stop can wake those that are blocked. Thread-safe.
class ConnectionRegistry {
 public:
  /// The connection's number from 1, or 0 when connections are being ended and this one must end too.
  std::uint64_t add(socket::Handle handle);
  /// Before the handle is closed.
  void remove(socket::Handle handle);
  /// Wakes all connections; add gives 0 until allow.
  void endAll();
  void allow();

  [[nodiscard]] std::size_t total() const;
  [[nodiscard]] std::size_t open() const;

 private:
  mutable std::mutex mutex_;
  std::set<socket::Handle> handles_;
  std::uint64_t count_ = 0;
  bool ending_ = false;
};

}  // namespace sandbox
