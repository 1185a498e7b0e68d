#include "foundation/BsNet/system/TrustSystem.h"

// windows.h ahead of the other, which needs it.
// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

#include <memory>

namespace KBL::System {
namespace {

struct CloseStore {
  void operator()(void* store) const { CertCloseStore(store, 0); }
};
using Store = std::unique_ptr<void, CloseStore>;

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

}  // namespace

std::string keptAuthorities() {
  const Store store(CertOpenSystemStoreW(0, L"ROOT"));
  std::string authorities;
  if (store == nullptr) return authorities;
  // Each call frees the certificate that it is given.
  for (PCCERT_CONTEXT certificate = nullptr;
       (certificate = CertEnumCertificatesInStore(store.get(), certificate)) != nullptr;) {
    authorities += pemOf(*certificate);
  }
  return authorities;
}

}  // namespace KBL::System
