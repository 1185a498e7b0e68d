#pragma once

#include "support/Sockets.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// One end of a connection, byte for byte. Ends with its owner.
class RawConnection {
 public:
  explicit RawConnection(sockets::Handle handle);
  ~RawConnection();
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;

  struct Request {
    std::string head;                            ///< request line and header lines as they came
    std::string line;                            ///< request line
    std::map<std::string, std::string> headers;  ///< names in lower case; repeated ones joined by "|"
    std::string body;
  };

  /// Reads up to the end of a request's headers. False when the peer closed or nothing came for long.
  [[nodiscard]] bool readHead(Request& request);
  /// The same with the body that its content length announces.
  [[nodiscard]] bool readRequest(Request& request);
  /// Reads exactly `count` bytes; fewer when the peer closed.
  [[nodiscard]] std::string read(std::size_t count);
  /// Whatever is there, at least one byte; empty when the peer closed.
  [[nodiscard]] std::string readSome();

  /// False when the peer is gone.
  bool send(const std::string& bytes);
  /// A whole reply with its content length; `headers` are further lines, each with its line end.
  bool reply(int status, const std::string& body = "", const std::string& headers = "");
  /// Waits, reading nothing, until the peer closes or resets.
  void holdUntilClosed();
  /// Waits until the peer closes; what comes is thrown away.
  void waitForClose();
  /// Ends the connection with a reset.
  void reset();
  /// Wakes whoever reads or sends.
  void interrupt();

  /// Which connection of its server this is, from 1.
  int number = 0;

 private:
  std::atomic<sockets::Handle> handle_;
  std::atomic<bool> interrupted_{false};
  std::string pending_;
};

/// Listens on an ephemeral port of 127.0.0.1; runs `serve` for each connection on a thread of its own.
class RawServer {
 public:
  using Serve = std::function<void(RawConnection&)>;

  explicit RawServer(Serve serve);
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] std::string url(const std::string& path = "/") const;
  [[nodiscard]] int connections() const { return connections_; }

 private:
  void acceptAll();

  Serve serve_;
  const sockets::Handle listener_;
  const int port_;
  std::atomic<bool> stopping_{false};
  std::atomic<int> connections_{0};
  std::mutex mutex_;
  std::vector<std::shared_ptr<RawConnection>> open_;
  std::vector<std::thread> threads_;
  std::thread acceptor_;
};

/// Listens on an ephemeral port of 127.0.0.1 with its queue full: whoever connects gets no answer at all.
class FullListener {
 public:
  FullListener();
  ~FullListener();
  FullListener(const FullListener&) = delete;
  FullListener& operator=(const FullListener&) = delete;

  [[nodiscard]] std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }

 private:
  std::vector<sockets::Handle> sockets_;
  int port_ = 0;
};

/// Answers every request of every connection by `answer`, over kept connections.
[[nodiscard]] RawServer::Serve eachRequest(
    std::function<void(RawConnection&, const RawConnection::Request&)> answer);

/// A connection to 127.0.0.1.
[[nodiscard]] std::unique_ptr<RawConnection> connectTo(int port);

/// A port of 127.0.0.1 on which nobody listened a moment ago.
[[nodiscard]] int freePort();
