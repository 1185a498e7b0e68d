#pragma once

#include "foundation/BsNet/client/CurlHandle.h"
#include "foundation/tls/TlsCertificates.h"

#include <memory>
#include <mutex>
#include <string>

namespace KBL {

/// The authorities that a client trusts: libcurl's default ones and those of one further file. Any thread.
class CurlTrust {
 public:
  /// With those of a PEM file (UTF-8 path). Null without a readable file: libcurl's own defaults hold then.
  /// Files that stay the same are read once.
  [[nodiscard]] static std::shared_ptr<const CurlTrust> with(const std::string& furtherFile);

  CurlTrust(const std::string& defaults, const std::string& further);
  ~CurlTrust();
  CurlTrust(const CurlTrust&) = delete;
  CurlTrust& operator=(const CurlTrust&) = delete;

  /// Sets an exchange over TLS up, which this outlives. Inside a stay.
  void applyTo(CurlEasy& easy) const;

  /// Whether the same authorities are trusted.
  bool operator==(const CurlTrust& other) const { return text_ == other.text_; }

 private:
  [[nodiscard]] const TlsCertificates* readDefaults() const;
  static CURLcode giveDefaults(CURL*, void* context, void* defaults);

  const std::string text_;     ///< all of them, PEM
  const std::string further_;  ///< those of the file, behind a line that differs where the defaults do
  const std::size_t defaultsEnd_;
  mutable std::once_flag areDefaultsRead_;
  mutable std::unique_ptr<const TlsCertificates> defaults_;
};

}  // namespace KBL
