#include "foundation/system/AuthoritiesWindows.h"

// The order matters: the other needs what windows.h declares.
// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
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

bool namesServers(const CERT_ENHKEY_USAGE& usage) {
  return std::any_of(usage.rgpszUsageIdentifier, usage.rgpszUsageIdentifier + usage.cUsageIdentifier,
                     [](const char* purpose) {
                       return std::string_view(purpose) == szOID_PKIX_KP_SERVER_AUTH ||
                              std::string_view(purpose) == szOID_ANY_ENHANCED_KEY_USAGE;
                     });
}

bool isForServers(PCCERT_CONTEXT certificate) {
  DWORD size = 0;
  if (CertGetEnhancedKeyUsage(certificate, 0, nullptr, &size) == 0) return false;
  std::vector<std::max_align_t> room(size / sizeof(std::max_align_t) + 1);
  auto* const usage = reinterpret_cast<CERT_ENHKEY_USAGE*>(room.data());
  SetLastError(ERROR_SUCCESS);  // an earlier call's would be taken for this one's
  if (CertGetEnhancedKeyUsage(certificate, 0, usage, &size) == 0) return false;
  // An empty list stands for all purposes where nobody has named any, and else for none.
  if (usage->cUsageIdentifier == 0) return GetLastError() == static_cast<DWORD>(CRYPT_E_NOT_FOUND);
  return namesServers(*usage);
}

/// Whether an encoded list of purposes has that of servers; one that can't be read may.
bool listNamesServers(const std::string& encoded) {
  const auto* const bytes = reinterpret_cast<const BYTE*>(encoded.data());
  const auto decode = [&](void* usage, DWORD& size) {
    return CryptDecodeObject(X509_ASN_ENCODING, X509_ENHANCED_KEY_USAGE, bytes,
                             static_cast<DWORD>(encoded.size()), 0, usage, &size) != 0;
  };
  DWORD size = 0;
  if (!decode(nullptr, size)) return true;
  std::vector<std::max_align_t> room(size / sizeof(std::max_align_t) + 1);
  return !decode(room.data(), size) || namesServers(*reinterpret_cast<CERT_ENHKEY_USAGE*>(room.data()));
}

std::uint64_t systemNow() {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return (std::uint64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime;
}

bool isIn(void* store, PCCERT_CONTEXT certificate) {
  if (store == nullptr) return false;
  const PCCERT_CONTEXT found = CertFindCertificateInStore(store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                                          CERT_FIND_EXISTING, certificate, nullptr);
  if (found != nullptr) CertFreeCertificateContext(found);
  return found != nullptr;
}

}  // namespace

std::string keptProperty(const void* certificate, unsigned long number) {
  const auto own = static_cast<PCCERT_CONTEXT>(certificate);
  DWORD size = 0;
  if (CertGetCertificateContextProperty(own, number, nullptr, &size) == 0) return {};
  std::string bytes(size, '\0');
  if (CertGetCertificateContextProperty(own, number, bytes.data(), &size) == 0) return {};
  bytes.resize(size);
  return bytes;
}

bool isWithdrawn(const std::function<std::string(unsigned long)>& property, std::uint64_t now) {
  struct Withdrawal {
    DWORD day;
    DWORD purposes;
  };
  constexpr std::array<Withdrawal, 2> withdrawals{
      {{CERT_DISALLOWED_FILETIME_PROP_ID, CERT_DISALLOWED_ENHKEY_USAGE_PROP_ID},
       {CERT_NOT_BEFORE_FILETIME_PROP_ID, CERT_NOT_BEFORE_ENHKEY_USAGE_PROP_ID}}};
  return std::any_of(withdrawals.begin(), withdrawals.end(), [&](const Withdrawal& withdrawal) {
    const std::string day = property(withdrawal.day);
    const std::string purposes = property(withdrawal.purposes);
    std::uint64_t begin = 0;
    if (day.size() == sizeof(begin)) std::memcpy(&begin, day.data(), sizeof(begin));
    if ((day.empty() && purposes.empty()) || begin > now) return false;
    return purposes.empty() || listNamesServers(purposes);
  });
}

std::string authoritiesForServers(void* authorities, void* distrusted, KeptProperty property) {
  std::string text;
  if (authorities == nullptr) return text;
  // Each call frees the certificate that it is given.
  for (PCCERT_CONTEXT certificate = nullptr;
       (certificate = CertEnumCertificatesInStore(authorities, certificate)) != nullptr;) {
    const auto own = [&](unsigned long number) { return property(certificate, number); };
    const bool isTrusted =
        isForServers(certificate) && !isIn(distrusted, certificate) && !isWithdrawn(own, systemNow());
    if (isTrusted) text += pemOf(*certificate);
  }
  return text;
}

}  // namespace KBL::System
