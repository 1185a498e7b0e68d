// Authorities that are read once and given to each connection.
#include "foundation/tls/TlsCertificates.h"
#include "support/TestCertificates.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace {

std::string textOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct FreeContext {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using Context = std::unique_ptr<SSL_CTX, FreeContext>;

int trustedBy(const Context& context) {
  return sk_X509_OBJECT_num(X509_STORE_get0_objects(SSL_CTX_get_cert_store(context.get())));
}

class TlsCertificatesTest : public testing::Test {
 protected:
  TestAuthority authority;
  TestAuthority other;
};

TEST_F(TlsCertificatesTest, JoinThoseOfEachConnection) {
  const std::string both = "some words\n" + textOf(authority.file()) + "and more\n" + textOf(other.file());
  const auto certificates = KBL::TlsCertificates::read(both);
  ASSERT_NE(certificates, nullptr);
  const Context first(SSL_CTX_new(TLS_client_method()));
  const Context second(SSL_CTX_new(TLS_client_method()));

  EXPECT_TRUE(certificates->giveTo(first.get()));
  EXPECT_TRUE(certificates->giveTo(second.get()));
  EXPECT_TRUE(certificates->giveTo(second.get()));

  EXPECT_EQ(trustedBy(first), 2);
  EXPECT_EQ(trustedBy(second), 2);
}

TEST_F(TlsCertificatesTest, OutliveTheOneWhoReadThem) {
  const Context context(SSL_CTX_new(TLS_client_method()));
  EXPECT_TRUE(KBL::TlsCertificates::read(textOf(authority.file()))->giveTo(context.get()));
  EXPECT_EQ(trustedBy(context), 1);
}

TEST_F(TlsCertificatesTest, AreNoneWhereAnythingElseIsInTheText) {
  const std::string good = textOf(authority.file());
  const std::string key = textOf(authority.sign(loopbackNames).key);
  std::string broken = good;
  broken[good.size() / 2] = '!';
  for (const std::string& text : {std::string(), std::string("no certificate"), key, good + key, broken,
                                  good + broken, good.substr(0, good.size() / 2)}) {
    EXPECT_EQ(KBL::TlsCertificates::read(text), nullptr) << text.substr(0, 200);
  }
}

}  // namespace
