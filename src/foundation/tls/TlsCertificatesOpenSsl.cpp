#include "foundation/tls/TlsCertificates.h"

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace KBL {
namespace {

template <auto freeObject>
struct Free {
  template <class Object>
  void operator()(Object* object) const {
    freeObject(object);
  }
};

void freeEntries(STACK_OF(X509_INFO) * entries) {
  sk_X509_INFO_pop_free(entries, &X509_INFO_free);
}

using Certificate = std::unique_ptr<X509, Free<X509_free>>;
using Entries = std::unique_ptr<STACK_OF(X509_INFO), Free<freeEntries>>;

class OpenSslCertificates final : public TlsCertificates {
 public:
  explicit OpenSslCertificates(std::vector<Certificate> certificates)
      : certificates_(std::move(certificates)) {}

  /// The connection's store takes a share in each.
  bool giveTo(void* context) const override {
    X509_STORE* const store = SSL_CTX_get_cert_store(static_cast<SSL_CTX*>(context));
    return std::all_of(certificates_.begin(), certificates_.end(), [store](const Certificate& certificate) {
      return X509_STORE_add_cert(store, certificate.get()) == 1;
    });
  }

 private:
  const std::vector<Certificate> certificates_;
};

/// As libcurl itself reads authorities from memory: whole or not at all.
Entries entriesOf(const std::string& pem) {
  if (pem.size() > std::numeric_limits<int>::max()) return nullptr;
  const std::unique_ptr<BIO, Free<BIO_free>> text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  if (text == nullptr) return nullptr;
  return Entries(PEM_X509_INFO_read_bio(text.get(), nullptr, nullptr, nullptr));
}

}  // namespace

std::string TlsCertificates::library() {
#ifdef OPENSSL_VERSION_STRING
  return std::string("OpenSSL/") + OpenSSL_version(OPENSSL_VERSION_STRING);
#else
  return {};
#endif
}

std::unique_ptr<const TlsCertificates> TlsCertificates::read(const std::string& pem) {
  const Entries entries = entriesOf(pem);
  const int count = entries == nullptr ? 0 : std::max(sk_X509_INFO_num(entries.get()), 0);
  std::vector<Certificate> certificates;
  certificates.reserve(static_cast<std::size_t>(count));
  for (int place = 0; place < count; ++place) {
    X509_INFO* const entry = sk_X509_INFO_value(entries.get(), place);
    if (entry->x509 == nullptr || entry->crl != nullptr || entry->x_pkey != nullptr) return nullptr;
    certificates.emplace_back(std::exchange(entry->x509, nullptr));
  }
  if (certificates.empty()) return nullptr;
  return std::make_unique<const OpenSslCertificates>(std::move(certificates));
}

}  // namespace KBL
