#include "foundation/system/AuthoritiesWindows.h"
#include "support/TestCertificates.h"

// The order matters: the other needs what windows.h declares.
// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

/// A store in memory alone.
class Store {
 public:
  Store() : store_(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr)) {}
  ~Store() { CertCloseStore(store_, 0); }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  /// Adds an authority, which the store keeps to these purposes; without any, to none.
  void add(const TestAuthority& authority) { CertFreeCertificateContext(added(authority)); }
  void addFor(const TestAuthority& authority, std::vector<const char*> purposes) {
    CERT_ENHKEY_USAGE usage{static_cast<DWORD>(purposes.size()), const_cast<char**>(purposes.data())};
    const PCCERT_CONTEXT certificate = added(authority);
    EXPECT_NE(CertSetEnhancedKeyUsage(certificate, &usage), 0);
    CertFreeCertificateContext(certificate);
  }
  [[nodiscard]] void* get() const { return store_; }

 private:
  PCCERT_CONTEXT added(const TestAuthority& authority) {
    std::ostringstream pem;
    pem << std::ifstream(authority.file(), std::ios::binary).rdbuf();
    std::array<BYTE, 8192> bytes{};
    DWORD size = bytes.size();
    EXPECT_NE(CryptStringToBinaryA(pem.str().c_str(), 0, CRYPT_STRING_BASE64HEADER, bytes.data(), &size,
                                   nullptr, nullptr),
              0);
    PCCERT_CONTEXT certificate = nullptr;
    EXPECT_NE(CertAddEncodedCertificateToStore(store_, X509_ASN_ENCODING, bytes.data(), size,
                                               CERT_STORE_ADD_ALWAYS, &certificate),
              0);
    return certificate;
  }

  const HCERTSTORE store_;
};

std::size_t count(const std::string& text) {
  std::size_t certificates = 0;
  const std::string begin = "-----BEGIN CERTIFICATE-----";
  for (std::size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at + 1))
    ++certificates;
  return certificates;
}

TEST(Authorities, OfServersAreTakenWithTheirWholeCertificates) {
  const TestAuthority one;
  const TestAuthority other;
  Store roots;
  EXPECT_EQ(KBL::System::authoritiesForServers(roots.get(), nullptr), "");
  EXPECT_EQ(KBL::System::authoritiesForServers(nullptr, nullptr), "");

  roots.add(one);
  roots.addFor(other, {szOID_PKIX_KP_CODE_SIGNING, szOID_PKIX_KP_SERVER_AUTH});

  const std::string text = KBL::System::authoritiesForServers(roots.get(), nullptr);
  EXPECT_EQ(count(text), 2U);
  EXPECT_TRUE(text.ends_with("-----END CERTIFICATE-----\r\n") ||
              text.ends_with("-----END CERTIFICATE-----\n"));
}

TEST(Authorities, OfOtherPurposesAreLeftOut) {
  const TestAuthority signers;
  Store roots;
  roots.addFor(signers, {szOID_PKIX_KP_CODE_SIGNING});
  const TestAuthority nobody;
  roots.addFor(nobody, {});
  SetLastError(static_cast<DWORD>(CRYPT_E_NOT_FOUND));  // what an earlier certificate may leave

  EXPECT_EQ(count(KBL::System::authoritiesForServers(roots.get(), nullptr)), 0U);
}

TEST(Authorities, ThatAreDistrustedAreLeftOut) {
  const TestAuthority trusted;
  const TestAuthority distrusted;
  Store roots;
  Store refused;
  roots.add(trusted);
  roots.add(distrusted);
  refused.add(distrusted);

  EXPECT_EQ(count(KBL::System::authoritiesForServers(roots.get(), refused.get())), 1U);
}

std::string bytesOf(std::uint64_t day) {
  return {reinterpret_cast<const char*>(&day), sizeof(day)};
}

std::string listOf(std::vector<const char*> purposes) {
  CERT_ENHKEY_USAGE usage{static_cast<DWORD>(purposes.size()), const_cast<char**>(purposes.data())};
  std::array<BYTE, 200> bytes{};
  DWORD size = bytes.size();
  EXPECT_NE(CryptEncodeObject(X509_ASN_ENCODING, X509_ENHANCED_KEY_USAGE, &usage, bytes.data(), &size), 0);
  return {reinterpret_cast<const char*>(bytes.data()), size};
}

/// By the properties of one kind of withdrawal, 1000 being today.
bool isWithdrawn(DWORD dayNumber, const std::string& day, DWORD purposesNumber, const std::string& purposes) {
  return KBL::System::isWithdrawn(
      [&](unsigned long number) {
        return number == dayNumber ? day : number == purposesNumber ? purposes : std::string();
      },
      1000);
}

TEST(Authorities, ThatAreWithdrawnFromServersAreSoFromTheirDayOn) {
  const std::string servers = listOf({szOID_PKIX_KP_CODE_SIGNING, szOID_PKIX_KP_SERVER_AUTH});
  const std::string others = listOf({szOID_PKIX_KP_CODE_SIGNING});
  for (const auto& [day, purposes] :
       {std::pair<DWORD, DWORD>{CERT_DISALLOWED_FILETIME_PROP_ID, CERT_DISALLOWED_ENHKEY_USAGE_PROP_ID},
        {CERT_NOT_BEFORE_FILETIME_PROP_ID, CERT_NOT_BEFORE_ENHKEY_USAGE_PROP_ID}}) {
    EXPECT_FALSE(isWithdrawn(day, "", purposes, ""));
    EXPECT_TRUE(isWithdrawn(day, bytesOf(1000), purposes, ""));
    EXPECT_FALSE(isWithdrawn(day, bytesOf(1001), purposes, ""));
    EXPECT_TRUE(isWithdrawn(day, "", purposes, servers));
    EXPECT_FALSE(isWithdrawn(day, "", purposes, others));
    EXPECT_TRUE(isWithdrawn(day, bytesOf(1000), purposes, servers));
    EXPECT_FALSE(isWithdrawn(day, bytesOf(1001), purposes, servers));
    EXPECT_FALSE(isWithdrawn(day, bytesOf(1000), purposes, others));
    EXPECT_TRUE(isWithdrawn(day, "", purposes, "no list"));
  }
}

// Wine keeps no days of withdrawal. Another property, which one of the two has, stands for one.
TEST(Authorities, ThatAreWithdrawnAreLeftOut) {
  const TestAuthority serving;
  const TestAuthority withdrawn;
  Store roots;
  roots.add(serving);
  roots.addFor(withdrawn, {szOID_PKIX_KP_SERVER_AUTH});
  const auto property = [](const void* certificate, unsigned long number) {
    return number == CERT_DISALLOWED_FILETIME_PROP_ID
               ? KBL::System::keptProperty(certificate, CERT_ENHKEY_USAGE_PROP_ID)
               : std::string();
  };

  EXPECT_EQ(count(KBL::System::authoritiesForServers(roots.get(), nullptr)), 2U);
  EXPECT_EQ(count(KBL::System::authoritiesForServers(roots.get(), nullptr, property)), 1U);
}

}  // namespace
