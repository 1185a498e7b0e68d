#pragma once

#include "foundation/BsNet/client/CurlHandle.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace KBL {

/// What connections are handed on within; not left to libcurl, which need not compare the users of a proxy.
struct CurlRoute {
  std::string proxy;                         ///< with user and password; empty: none
  std::shared_ptr<const std::string> trust;  ///< PEM text; null: libcurl's default authorities
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
  /// Whether the last exchange went well. Only then the handle is handed on.
  void setSound(bool isSound) { isSound_ = isSound; }

  /// Whether this client has sent a request on the connection.
  [[nodiscard]] bool isKnown(const CurlEnds& ends) const;
  void addKnown(CurlEnds ends);

  /// For how many seconds a connection may be idle and still be used.
  static constexpr long maxIdleSeconds = 3;
  /// How many handles are kept idle.
  static constexpr std::size_t maxIdleHandles = 4;

  /// Ends the connections that nobody uses. Any thread.
  static void endIdle();

 private:
  void handOn();

  CurlRoute route_;
  CurlMulti multi_;
  std::vector<CurlEnds> known_;
  bool isSound_ = false;
};

}  // namespace KBL
