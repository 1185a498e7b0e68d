#pragma once

#include "support/Sockets.h"

#include <string>

/// A plain connection to 127.0.0.1, for tests of the bytes themselves.
class RawConnection {
 public:
  enum class End { open, closed, reset };

  explicit RawConnection(int port);
  ~RawConnection();
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;

  [[nodiscard]] bool connected() const { return outcome_ == sockets::Outcome::done; }
  /// The system refused the connection.
  [[nodiscard]] bool refused() const { return outcome_ == sockets::Outcome::refused; }
  /// False when the other side has gone.
  bool send(const std::string& bytes) const;
  /// Reads until the other side ends the connection.
  std::string readAll();
  /// Reads until `count` bytes are there or the connection ends.
  std::string read(std::size_t count);
  /// How reading ended.
  [[nodiscard]] End end() const { return end_; }
  /// Reading ended by a reset. Wine tells some of them as an end in order, which counts there.
  [[nodiscard]] bool wasReset() const;

 private:
  /// False at the end of the connection.
  bool receive(std::string& into, std::size_t most);

  sockets::Handle handle_ = sockets::none;
  const sockets::Outcome outcome_;
  End end_ = End::open;
};
