#pragma once

#include "support/TemporaryDirectory.h"

#include <memory>
#include <string>

/// Of a server on this machine, by its number and by the name that Schannel wants.
inline constexpr const char* loopbackNames = "IP:127.0.0.1,DNS:localhost";

/// A certificate authority of the test's own; what it signs is written as PEM files.
class TestAuthority {
 public:
  TestAuthority();
  ~TestAuthority();
  TestAuthority(const TestAuthority&) = delete;
  TestAuthority& operator=(const TestAuthority&) = delete;

  struct Files {
    std::string certificate;
    std::string key;
  };
  /// A server certificate for these names, as in "IP:127.0.0.1,DNS:localhost", that ends in so many seconds.
  [[nodiscard]] Files sign(const std::string& names, long validSeconds = 3600);
  /// The authority's own certificate.
  [[nodiscard]] std::string file() const { return place_.file("authority.pem"); }

 private:
  struct Keys;
  TemporaryDirectory place_;
  std::unique_ptr<Keys> keys_;
  int signed_ = 0;
};
