#pragma once

#include "support/ChildProcess.h"
#include "support/RawServer.h"
#include "support/TemporaryDirectory.h"

#include <memory>
#include <string>

/// A proxy program of the system on an ephemeral port of 127.0.0.1.
class RealProxy {
 public:
  /// tinyproxy, an HTTP proxy, with this user and password.
  static std::unique_ptr<RealProxy> http(const std::string& user, const std::string& password);
  /// Dante, a SOCKS proxy of versions 4 and 5, open to all.
  static std::unique_ptr<RealProxy> socks();

  [[nodiscard]] int port() const { return port_; }
  /// What it wrote about its work.
  [[nodiscard]] std::string log() const { return place_.read("log"); }
  /// Waits until it listens; false when it did not.
  [[nodiscard]] bool isListening() const;

 private:
  RealProxy() : port_(freePort()) {}

  TemporaryDirectory place_;
  int port_;
  std::unique_ptr<ChildProcess> process_;
};
