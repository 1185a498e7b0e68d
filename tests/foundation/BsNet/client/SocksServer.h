#pragma once

#include "support/RawServer.h"

#include <mutex>
#include <string>

/// A small SOCKS proxy of versions 4 and 5 that asks for a user and, in version 5, a password. Leads every
/// connection to the wanted port of 127.0.0.1.
class SocksServer {
 public:
  SocksServer(std::string user, std::string password);

  [[nodiscard]] int port() const { return server_.port(); }
  /// The host that the last connection asked for.
  [[nodiscard]] std::string lastTarget() const;
  [[nodiscard]] int lastVersion() const;

 private:
  void serve(RawConnection& client);
  [[nodiscard]] bool greetVersion4(RawConnection& client, int& port);
  [[nodiscard]] bool greetVersion5(RawConnection& client, int& port);
  void keep(int version, const std::string& target);

  const std::string user_;
  const std::string password_;
  mutable std::mutex mutex_;
  std::string lastTarget_;
  int lastVersion_ = 0;
  RawServer server_;
};
