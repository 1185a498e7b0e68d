#include "support/TestCertificates.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>

namespace {

template <auto release>
struct Release {
  template <class Object>
  void operator()(Object* object) const {
    (void)release(object);
  }
};
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Release<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Release<X509_EXTENSION_free>>;
using Signature = std::unique_ptr<ECDSA_SIG, Release<ECDSA_SIG_free>>;
using File = std::unique_ptr<std::FILE, Release<std::fclose>>;

Key newKey() {
  return Key(EVP_EC_gen("P-256"));
}

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  if (extension == nullptr) throw std::runtime_error("certificate extension");
  X509_add_ext(certificate, extension.get(), -1);
}

Certificate newCertificate(EVP_PKEY* key, const std::string& name, long serial, long validSeconds) {
  Certificate certificate(X509_new());
  X509_set_version(certificate.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -86400);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validSeconds);
  X509_set_pubkey(certificate.get(), key);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
  return certificate;
}

/// True when both numbers of the signature fill their 32 bytes.
bool isOfFullLength(const X509* certificate) {
  const ASN1_BIT_STRING* bits = nullptr;
  X509_get0_signature(&bits, nullptr, certificate);
  const unsigned char* bytes = bits->data;
  const Signature signature(d2i_ECDSA_SIG(nullptr, &bytes, bits->length));
  return signature != nullptr && BN_num_bytes(ECDSA_SIG_get0_r(signature.get())) == 32 &&
         BN_num_bytes(ECDSA_SIG_get0_s(signature.get())) == 32;
}

/// Wine takes no signature with a shorter number, which one of 128 has.
void signWith(EVP_PKEY* key, X509* certificate) {
  for (int tries = 0; tries < 100; ++tries) {
    X509_sign(certificate, key, EVP_sha256());
    if (isOfFullLength(certificate)) return;
  }
  throw std::runtime_error("certificate signature");
}

void write(const std::string& path, X509* certificate) {
  const File file(std::fopen(path.c_str(), "wb"));
  PEM_write_X509(file.get(), certificate);
}

void write(const std::string& path, EVP_PKEY* key) {
  const File file(std::fopen(path.c_str(), "wb"));
  PEM_write_PrivateKey(file.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
}

}  // namespace

struct TestAuthority::Keys {
  Key key;
  Certificate certificate;
};

TestAuthority::TestAuthority() : keys_(std::make_unique<Keys>()) {
  keys_->key = newKey();
  keys_->certificate =
      newCertificate(keys_->key.get(), "Authority " + place_.path().filename().string(), 1, 86400);
  X509* const certificate = keys_->certificate.get();
  X509_set_issuer_name(certificate, X509_get_subject_name(certificate));
  addExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
  addExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign");
  signWith(keys_->key.get(), certificate);
  write(file(), certificate);
}

TestAuthority::~TestAuthority() = default;

TestAuthority::Files TestAuthority::sign(const std::string& names, long validSeconds) {
  const std::string stem = "server" + std::to_string(++signed_);
  Files files{place_.file(stem + ".pem"), place_.file(stem + ".key")};
  const Key key = newKey();
  const Certificate certificate = newCertificate(key.get(), stem, 1 + signed_, validSeconds);
  X509_set_issuer_name(certificate.get(), X509_get_subject_name(keys_->certificate.get()));
  addExtension(certificate.get(), keys_->certificate.get(), NID_subject_alt_name, names);
  signWith(keys_->key.get(), certificate.get());
  write(files.certificate, certificate.get());
  write(files.key, key.get());
  return files;
}
