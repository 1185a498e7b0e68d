// The TLS library of Windows takes its authorities from libcurl alone.
#include "foundation/tls/TlsCertificates.h"

namespace KBL {

std::string TlsCertificates::library() {
  return {};
}

std::unique_ptr<const TlsCertificates> TlsCertificates::read(const std::string&) {
  return nullptr;
}

}  // namespace KBL
