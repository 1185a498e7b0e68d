#pragma once

#include "support/TestCertificates.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>

namespace httplib {
class SSLServer;
}

/// An https server on an ephemeral port of 127.0.0.1: GET / answers "secure", PUT / the size of the body, and
/// GET /away redirects to a plain http address.
class TlsServer {
 public:
  enum class Versions { all, upTo11 };

  /// Takes leave of a connection that was idle for so long.
  explicit TlsServer(const TestAuthority::Files& files, int keepAliveSeconds = 60,
                     Versions versions = Versions::all);
  ~TlsServer();
  TlsServer(const TlsServer&) = delete;
  TlsServer& operator=(const TlsServer&) = delete;

  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] std::string url(const std::string& path = "/") const;
  [[nodiscard]] int connections() const;
  /// Replies to "/" on connections that took up an earlier session.
  [[nodiscard]] int resumed() const;

  std::string away;

 private:
  std::unique_ptr<httplib::SSLServer> server_;
  int port_ = 0;
  std::atomic<int> lastPeerPort_{0};
  std::atomic<int> connections_{0};
  std::atomic<int> resumed_{0};
  std::thread thread_;
};
