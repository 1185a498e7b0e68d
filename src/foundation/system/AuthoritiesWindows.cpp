#include "foundation/system/AuthoritiesWindows.h"

// The order matters: the other needs what windows.h declares.
// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace KBL::System {
namespace {

std::string pemOf(const CERT_CONTEXT& certificate) {
  const auto convert = [&certificate](char* text, DWORD& size) {
    return CryptBinaryToStringA(certificate.pbCertEncoded, certificate.cbCertEncoded,
                                CRYPT_STRING_BASE64HEADER, text, &size) != 0;
  };
  DWORD size = 0;
  if (!convert(nullptr, size)) return {};
  std::string text(size, '\0');
  if (!convert(text.data(), size)) return {};
  text.resize(size);
  return text;
}

bool isForServers(PCCERT_CONTEXT certificate) {
  DWORD size = 0;
  if (CertGetEnhancedKeyUsage(certificate, 0, nullptr, &size) == 0) return false;
  std::vector<std::max_align_t> room(size / sizeof(std::max_align_t) + 1);
  auto* const usage = reinterpret_cast<CERT_ENHKEY_USAGE*>(room.data());
  if (CertGetEnhancedKeyUsage(certificate, 0, usage, &size) == 0) return false;
  // An empty list stands for all purposes where nobody has named any, and else for none.
  if (usage->cUsageIdentifier == 0) return GetLastError() == static_cast<DWORD>(CRYPT_E_NOT_FOUND);
  return std::any_of(usage->rgpszUsageIdentifier, usage->rgpszUsageIdentifier + usage->cUsageIdentifier,
                     [](const char* purpose) {
                       return std::string_view(purpose) == szOID_PKIX_KP_SERVER_AUTH ||
                              std::string_view(purpose) == szOID_ANY_ENHANCED_KEY_USAGE;
                     });
}

bool isIn(void* store, PCCERT_CONTEXT certificate) {
  if (store == nullptr) return false;
  const PCCERT_CONTEXT found = CertFindCertificateInStore(store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                                          CERT_FIND_EXISTING, certificate, nullptr);
  if (found != nullptr) CertFreeCertificateContext(found);
  return found != nullptr;
}

}  // namespace

std::string authoritiesForServers(void* authorities, void* distrusted) {
  std::string text;
  if (authorities == nullptr) return text;
  // Each call frees the certificate that it is given.
  for (PCCERT_CONTEXT certificate = nullptr;
       (certificate = CertEnumCertificatesInStore(authorities, certificate)) != nullptr;) {
    if (isForServers(certificate) && !isIn(distrusted, certificate)) text += pemOf(*certificate);
  }
  return text;
}

}  // namespace KBL::System
