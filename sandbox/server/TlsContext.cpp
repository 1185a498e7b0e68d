#include "sandbox/server/TlsContext.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <stdexcept>

namespace sandbox {

namespace {

template <auto Free>
struct Deleter {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};

using Key = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY_free>>;
using X509Ptr = std::unique_ptr<X509, Deleter<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Deleter<X509_EXTENSION_free>>;
using Bio = std::unique_ptr<BIO, Deleter<BIO_free_all>>;
using SslContext = std::unique_ptr<SSL_CTX, Deleter<SSL_CTX_free>>;
using Ssl = std::unique_ptr<SSL, Deleter<SSL_free>>;

constexpr long day = 24L * 60 * 60;

void require(bool good, const char* what) {
  if (!good) throw std::runtime_error(std::string("TLS: ") + what + " failed");
}

Key makeKey() {
  Key key(EVP_EC_gen("P-256"));
  require(key != nullptr, "making a key");
  return key;
}

void addExtension(X509* certificate, X509* issuer, int id, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, id, value));
  require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "an extension");
}

struct CertificateWish {
  const char* name;
  long serial;
  long from;   ///< seconds from now
  long until;  ///< seconds from now
};

/// Signed by nobody yet.
X509Ptr makeCertificate(const CertificateWish& wish, EVP_PKEY* key) {
  X509Ptr certificate(X509_new());
  require(certificate != nullptr, "making a certificate");
  X509_set_version(certificate.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), wish.serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), wish.from);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), wish.until);
  X509_set_pubkey(certificate.get(), key);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(wish.name), -1, -1, 0);
  return certificate;
}

void sign(X509* certificate, X509* issuer, EVP_PKEY* issuerKey) {
  require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1, "naming the issuer");
  require(X509_sign(certificate, issuerKey, EVP_sha256()) > 0, "signing");
}

struct Authority {
  Key key;
  X509Ptr certificate;
};

Authority makeAuthority(const char* name) {
  Authority authority{makeKey(), nullptr};
  authority.certificate = makeCertificate({name, 1, -day, 30 * day}, authority.key.get());
  X509* const certificate = authority.certificate.get();
  addExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
  addExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
  addExtension(certificate, certificate, NID_subject_key_identifier, "hash");
  sign(certificate, certificate, authority.key.get());
  return authority;
}

X509Ptr makeServerCertificate(Certificate kind, EVP_PKEY* key, const Authority& authority) {
  const bool expired = kind == Certificate::expired;
  X509Ptr certificate =
      makeCertificate({"sandbox", 2, expired ? -2 * day : -day, expired ? -day : 30 * day}, key);
  const char* const names =
      kind == Certificate::wrongHost ? "DNS:elsewhere.invalid" : "DNS:localhost,IP:127.0.0.1";
  addExtension(certificate.get(), authority.certificate.get(), NID_basic_constraints, "CA:FALSE");
  addExtension(certificate.get(), authority.certificate.get(), NID_subject_alt_name, names);
  addExtension(certificate.get(), authority.certificate.get(), NID_ext_key_usage, "serverAuth");
  sign(certificate.get(), authority.certificate.get(), authority.key.get());
  return certificate;
}

std::string pemOf(X509* certificate) {
  const Bio memory(BIO_new(BIO_s_mem()));
  require(memory && PEM_write_bio_X509(memory.get(), certificate) == 1, "writing PEM");
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

class TlsTransport final : public Transport {
 public:
  TlsTransport(socket::Handle handle, SSL_CTX* context) : Transport(handle), ssl_(SSL_new(context)) {
    if (ssl_) SSL_set_fd(ssl_.get(), static_cast<int>(handle));
  }

  bool handshake() override { return ssl_ && SSL_accept(ssl_.get()) == 1; }

  std::size_t read(char* bytes, std::size_t count) override {
    std::size_t received = 0;
    return SSL_read_ex(ssl_.get(), bytes, count, &received) == 1 ? received : 0;
  }

  bool write(const char* bytes, std::size_t count) override {
    std::size_t sent = 0;
    return count == 0 || (SSL_write_ex(ssl_.get(), bytes, count, &sent) == 1 && sent == count);
  }

  void farewell() override { SSL_shutdown(ssl_.get()); }

 private:
  const Ssl ssl_;
};

}  // namespace

struct TlsContext::State {
  std::string authorityPem;
  SslContext context;
};

TlsContext::TlsContext(Certificate kind) : state_(std::make_unique<State>()) {
  const Authority authority = makeAuthority("media transfer sandbox authority");
  state_->authorityPem = pemOf(authority.certificate.get());
  const Authority stranger = makeAuthority("somebody else");
  const Key key = makeKey();
  const X509Ptr certificate =
      makeServerCertificate(kind, key.get(), kind == Certificate::unknownAuthority ? stranger : authority);
  state_->context.reset(SSL_CTX_new(TLS_server_method()));
  SSL_CTX* const context = state_->context.get();
  require(context != nullptr, "making a context");
  require(SSL_CTX_use_certificate(context, certificate.get()) == 1, "using the certificate");
  require(SSL_CTX_use_PrivateKey(context, key.get()) == 1, "using the key");
}

TlsContext::~TlsContext() = default;

const std::string& TlsContext::authorityPem() const {
  return state_->authorityPem;
}

std::unique_ptr<Transport> TlsContext::transport(socket::Handle handle) const {
  return std::make_unique<TlsTransport>(handle, state_->context.get());
}

}  // namespace sandbox
