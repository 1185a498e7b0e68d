#pragma once

#include <string>

namespace host {

/// A network proxy as `--proxy` names it.
struct ProxyAddress {
  int type = 0;  ///< 1 HTTP, 2 SOCKS4, 3 SOCKS5, as ServerProxyIntKey::type
  std::string server;
  int port = 0;
  std::string user;
  std::string password;
};

/// Reads "SCHEME://[USER[:PASSWORD]@]HOST:PORT" with SCHEME http, socks4 or socks5; user and password may be
/// percent-encoded, an IPv6 address stands in brackets. Throws Failure with Exit::wrongUse for anything else.
[[nodiscard]] ProxyAddress parseProxyUrl(const std::string& url);

}  // namespace host
