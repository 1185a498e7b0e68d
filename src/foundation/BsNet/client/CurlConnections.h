#pragma once

#include "foundation/BsNet/client/CurlHandle.h"
#include "foundation/BsNet/client/CurlTrust.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace KBL {

/// What connections are handed on within; not left to libcurl, which need not compare the users of a proxy.
struct CurlRoute {
  std::string proxy;                       ///< with user and password; empty: none
  std::shared_ptr<const CurlTrust> trust;  ///< null: libcurl's default authorities
  bool operator==(const CurlRoute& other) const;
};

/// The two ends of a connection, which no two open connections share.
struct CurlEnds {
  std::string server;
  std::string local;
  int serverPort = 0;
  int localPort = 0;
  bool operator==(const CurlEnds&) const = default;
};

/// A multi handle and the sockets of its connections. One thread at a time.
class CurlWires {
 public:
  [[nodiscard]] CURLM* multi() const { return multi_.get(); }  ///< null when memory was short
  /// Opens a socket for a connection of this handle. Throws for want of memory.
  [[nodiscard]] curl_socket_t open(curlsocktype purpose, curl_sockaddr* address);
  /// A value for CURLOPT_CLOSESOCKETFUNCTION; the data are the wires.
  static int close(void* wires, curl_socket_t socket);
  /// Whether nothing has come in on any connection since the last exchange, not even its end.
  [[nodiscard]] bool areQuiet() const;

  /// Keeps that the server at the other end of the connection from a local port speaks HTTP/1.1, which it
  /// does to its end.
  void setHttp1(int localPort);
  /// The socket of that connection, where that is known; else CURL_SOCKET_BAD.
  [[nodiscard]] curl_socket_t http1(int localPort) const;

 private:
  struct Wire {
    curl_socket_t socket;
    bool isHttp1 = false;
  };

  std::vector<Wire> sockets_;
  CurlMulti multi_{curl_multi_init()};  // ends ahead of the sockets, which it closes
};

/// The connections of one client: a multi handle that is the client's alone. When the client ends, the handle
/// is kept idle for a moment, and the next client of the same route goes on with its connections. One thread
/// at a time.
class CurlConnections {
 public:
  CurlConnections() = default;
  ~CurlConnections() { handOn(); }
  CurlConnections(const CurlConnections&) = delete;
  CurlConnections& operator=(const CurlConnections&) = delete;

  /// The handle for an exchange; null when memory is short. Inside a stay.
  [[nodiscard]] CURLM* on(CurlRoute route);
  /// That handle with its sockets, behind a call of `on` that gave one.
  [[nodiscard]] CurlWires& wires() const { return *wires_; }
  /// Whether the last exchange went well, and left connections that last. Only then the handle is handed on.
  void setSound(bool isSound) { isSound_ = isSound; }

  /// Whether this client has sent a request on the connection.
  [[nodiscard]] bool isKnown(const CurlEnds& ends) const;
  void addKnown(CurlEnds ends);

  /// A connection that has been idle for so many seconds is not used again.
  static constexpr long maxIdleSeconds = 3;
  /// How many handles are kept idle.
  static constexpr std::size_t maxIdleHandles = 4;

  /// Ends the connections that nobody uses. Any thread.
  static void endIdle();

 private:
  void handOn();

  CurlRoute route_;
  std::unique_ptr<CurlWires> wires_;
  std::vector<CurlEnds> known_;
  bool isSound_ = false;
};

}  // namespace KBL
