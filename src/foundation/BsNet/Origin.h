#pragma once

#include <string>

namespace KBL {

/// Scheme, host and port of an address: what credentials are meant for.
struct Origin {
  std::string scheme;  ///< lower case
  std::string host;    ///< lower case
  std::string port;    ///< never empty but in an address that cannot be read
  bool operator==(const Origin&) const = default;
};

[[nodiscard]] Origin originOf(const std::string& address);

}  // namespace KBL
