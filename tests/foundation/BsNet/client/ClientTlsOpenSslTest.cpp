// What of trust and of sessions is tested with OpenSSL alone: wine's Schannel leaves both out.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "foundation/BsNet/client/TlsServer.h"
#include "foundation/tls/TlsCertificates.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

namespace {

class ClientTlsOpenSsl : public testing::Test {
 protected:
  TestAuthority authority;
};

TEST_F(ClientTlsOpenSsl, MissingAuthorityFileLeavesVerificationOn) {
  const TlsServer server(authority.sign(loopbackNames));
  const ScopedNetSettings settings({.extraCaFile = authority.file() + ".missing"});

  EXPECT_EQ(get(server.url()).resultCode, 60);
}

TEST_F(ClientTlsOpenSsl, AClientTakesUpTheSessionOfAnEarlierOne) {
  const TlsServer server(authority.sign(loopbackNames));
  const ScopedNetSettings settings({.extraCaFile = authority.file()});
  EXPECT_EQ(get(server.url()).content, "secure");
  EXPECT_EQ(server.resumed(), 0);
  KBL::setNetSettings({.extraCaFile = authority.file()});  // ends idle connections

  EXPECT_EQ(get(server.url()).content, "secure");

  EXPECT_EQ(server.resumed(), 1);
}

TEST(TrustOpenSsl, IsReadOnceForTheTlsLibraryOfLibcurl) {
  EXPECT_EQ(KBL::TlsCertificates::library(), curl_version_info(CURLVERSION_NOW)->ssl_version);
}

}  // namespace
