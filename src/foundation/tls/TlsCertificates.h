#pragma once

#include <memory>
#include <string>

namespace KBL {

/// Certificates of authorities in the form of libcurl's TLS library, read once and given to each connection:
/// reading a system's bundle costs more than a handshake. Inside a stay; any thread.
class TlsCertificates {
 public:
  virtual ~TlsCertificates() = default;
  TlsCertificates(const TlsCertificates&) = delete;
  TlsCertificates& operator=(const TlsCertificates&) = delete;

  /// The TLS library that takes them, as libcurl names its own; empty where none does.
  [[nodiscard]] static std::string library();

  /// Those of a PEM text. Null when it holds none, something else too, or anything that cannot be read, when
  /// memory is short, and where the TLS library takes none.
  [[nodiscard]] static std::unique_ptr<const TlsCertificates> read(const std::string& pem);

  /// Adds them to those that a connection trusts; `context` is what libcurl hands to the function of
  /// CURLOPT_SSL_CTX_FUNCTION. False when memory is short.
  [[nodiscard]] virtual bool giveTo(void* context) const = 0;

 protected:
  TlsCertificates() = default;
};

}  // namespace KBL
