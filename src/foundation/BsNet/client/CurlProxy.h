#pragma once

#include <string>

namespace KBL {

/// A network proxy as the caller named it.
struct CurlProxy {
  int type = 0;  ///< a ProxyType; 0: no proxy
  std::string server;
  int port = 0;
  std::string user;
  std::string password;

  /// False for a proxy of a kind that nobody knows: an exchange must not go around it.
  [[nodiscard]] bool isKnown() const;

  /// The address for libcurl, empty for no proxy. User and password are part of it, percent-encoded: libcurl
  /// decodes its separate options for them in some versions and not in others.
  [[nodiscard]] std::string address() const;
};

}  // namespace KBL
