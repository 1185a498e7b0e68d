#pragma once

#include "sandbox/system/Socket.h"

#include <cstddef>
#include <memory>

namespace sandbox {

/// The bytes of one connection, plain or within TLS. Used by the connection's thread alone; does not own the
/// socket.
class Transport {
 public:
  explicit Transport(socket::Handle handle) : handle_(handle) {}
  virtual ~Transport() = default;
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  /// False when the peer can't agree; the connection is of no use then.
  virtual bool handshake() { return true; }
  /// Blocks for at least one byte; 0 at the end of the stream and after a failure.
  virtual std::size_t read(char* bytes, std::size_t count) { return socket::receive(handle_, bytes, count); }
  virtual bool write(const char* bytes, std::size_t count) { return socket::sendAll(handle_, bytes, count); }
  /// Says that nothing more will be sent, before the socket is closed in order.
  virtual void farewell() {}

  [[nodiscard]] socket::Handle handle() const { return handle_; }

 private:
  const socket::Handle handle_;
};

}  // namespace sandbox
