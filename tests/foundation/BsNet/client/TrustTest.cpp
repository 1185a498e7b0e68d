// Default authorities and further ones, each as a connection gets them.
#include "foundation/BsNet/client/CurlTrust.h"
#include "foundation/BsNet/client/TlsServer.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string textOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

class Trust : public testing::Test {
 protected:
  /// What libcurl says of a server that `authority` has signed.
  CURLcode resultUnder(const KBL::CurlTrust& trust) {
    return resultUnder(trust, TlsServer(authority.sign(loopbackNames)));
  }
  static CURLcode resultUnder(const KBL::CurlTrust& trust, const TlsServer& server) {
    const KBL::CurlStay stay;
    KBL::CurlEasy easy;
    easy.set(CURLOPT_URL, server.url());
    easy.set(CURLOPT_NOPROXY, "*");
    easy.set(CURLOPT_NOBODY, 1L);
    easy.set(CURLOPT_SHARE, KBL::curlShare());
    trust.applyTo(easy);
    EXPECT_EQ(easy.failure(), CURLE_OK);
    return curl_easy_perform(easy.get());
  }

  TestAuthority authority;
  TestAuthority other;
  const std::string good = textOf(authority.file());
  const std::string foreign = textOf(other.file());
  const std::string key = textOf(other.sign(loopbackNames).key);
};

TEST_F(Trust, IsInDefaultAndFurtherAuthorities) {
  EXPECT_EQ(resultUnder({good, foreign}), CURLE_OK);
  EXPECT_EQ(resultUnder({foreign, good}), CURLE_OK);
  EXPECT_EQ(resultUnder({foreign, foreign}), CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(Trust, IsTheSameWhereLibcurlReadsAllOfThem) {
  EXPECT_EQ(resultUnder({good, foreign + key}), CURLE_OK);
  EXPECT_EQ(resultUnder({good + key, foreign}), CURLE_OK);
  EXPECT_EQ(resultUnder({foreign, good + key}), CURLE_OK);
  EXPECT_EQ(resultUnder({foreign + key, foreign}), CURLE_PEER_FAILED_VERIFICATION);
  EXPECT_EQ(resultUnder({good, "no certificate"}), CURLE_OK);
}

TEST_F(Trust, OfEachConnectionIsTheSame) {
  const KBL::CurlTrust trust(good, foreign);
  EXPECT_EQ(resultUnder(trust), CURLE_OK);
  EXPECT_EQ(resultUnder(trust), CURLE_OK);
}

// Who takes a session up looks at no certificate.
TEST_F(Trust, OfOtherDefaultsTakesNoSessionUp) {
  const TlsServer server(authority.sign(loopbackNames));
  EXPECT_EQ(resultUnder({good, foreign}, server), CURLE_OK);
  EXPECT_EQ(resultUnder({foreign, foreign}, server), CURLE_PEER_FAILED_VERIFICATION);
  EXPECT_EQ(server.resumed(), 0);
}

TEST_F(Trust, IsToldApartByAllOfTheText) {
  EXPECT_TRUE(KBL::CurlTrust(good, foreign) == KBL::CurlTrust(good, foreign));
  EXPECT_FALSE(KBL::CurlTrust(good, foreign) == KBL::CurlTrust(foreign, foreign));
  EXPECT_FALSE(KBL::CurlTrust(good, foreign) == KBL::CurlTrust(good, good));
}

}  // namespace
