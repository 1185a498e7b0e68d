// Whom the network client trusts.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "foundation/BsNet/client/TlsServer.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <thread>
#include <vector>

namespace {

KBL::NetSettings trusting(const std::string& file) {
  KBL::NetSettings settings;
  settings.extraCaFile = file;
  return settings;
}

class ClientTls : public testing::Test {
 protected:
  TestAuthority authority;
};

TEST_F(ClientTls, FurtherAuthorityIsTrusted) {
  const TlsServer server(authority.sign(loopbackNames));
  const ScopedNetSettings settings(trusting(authority.file()));

  const auto reply = get(server.url());

  EXPECT_EQ(reply.resultCode, 0) << reply.errorMessage;
  EXPECT_EQ(reply.content, "secure");
}

TEST_F(ClientTls, UnknownAuthorityIsNot) {
  const TlsServer server(authority.sign(loopbackNames));
  const TestAuthority stranger;
  const ScopedNetSettings settings(knowingAStrangerAtMost(stranger.file()));

  const auto reply = get(server.url());

  EXPECT_EQ(reply.resultCode, 60);
  EXPECT_EQ(reply.httpCode, -1);
  EXPECT_NE(reply.errorMessage, "");
}

TEST_F(ClientTls, CertificateOfAnotherAuthorityNameOrTimeIsRefused) {
  TestAuthority other;
  const ScopedNetSettings settings(trusting(authority.file()));

  EXPECT_EQ(get(TlsServer(other.sign(loopbackNames)).url()).resultCode, 60);
  EXPECT_EQ(get(TlsServer(authority.sign("DNS:other.example")).url()).resultCode, 60);
  EXPECT_EQ(get(TlsServer(authority.sign(loopbackNames, -10)).url()).resultCode, 60);
}

TEST_F(ClientTls, SettingsAreTakenByClientsMadeAfterwards) {
  const TlsServer server(authority.sign(loopbackNames));
  const TestAuthority stranger;
  const ScopedNetSettings former(knowingAStrangerAtMost(stranger.file()));
  const auto before = newClient();
  const ScopedNetSettings settings(trusting(authority.file()));
  const auto after = newClient();

  EXPECT_EQ(perform(*before, server.url(), KBL::httpGet).resultCode, 60);
  EXPECT_EQ(perform(*after, server.url(), KBL::httpGet).resultCode, 0);
}

TEST_F(ClientTls, ConnectionIsKeptAndLargeBodiesPass) {
  const TlsServer server(authority.sign(loopbackNames));
  const ScopedNetSettings settings(trusting(authority.file()));
  const auto client = newClient();
  client->setBody(std::string(3 << 20, 'b'));

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).content, "secure");
  EXPECT_EQ(perform(*client, server.url(), KBL::httpPut).content, std::to_string(3 << 20));
  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).content, "secure");

  EXPECT_EQ(server.connections(), 1);
}

TEST_F(ClientTls, RedirectionOutOfTlsIsNotFollowed) {
  const KeepingServer plain;
  TlsServer server(authority.sign(loopbackNames));
  server.away = plain.url();
  const ScopedNetSettings settings(trusting(authority.file()));

  EXPECT_EQ(get(server.url("/away")).httpCode, 302);

  EXPECT_EQ(plain.connections(), 0);
}

TEST_F(ClientTls, ASessionIsNotTakenUpUnderOtherTrust) {
  const TlsServer server(authority.sign(loopbackNames));
  TestAuthority other;
  const ScopedNetSettings settings(trusting(authority.file()));
  EXPECT_EQ(get(server.url()).content, "secure");

  KBL::setNetSettings(trusting(other.file()));
  EXPECT_EQ(get(server.url()).resultCode, 60);
  KBL::setNetSettings(knowingAStrangerAtMost(other.file()));
  EXPECT_EQ(get(server.url()).resultCode, 60);

  EXPECT_EQ(server.resumed(), 0);
}

TEST_F(ClientTls, AFurtherFileWithMoreThanCertificatesIsTrustedAllTheSame) {
  const TestAuthority::Files signedHere = authority.sign(loopbackNames);
  const TlsServer server(signedHere);
  const TemporaryDirectory place;
  std::ofstream(place.file("more.pem"))
      << std::ifstream(signedHere.key).rdbuf() << std::ifstream(authority.file()).rdbuf();
  const ScopedNetSettings settings(trusting(place.file("more.pem")));

  EXPECT_EQ(get(server.url()).content, "secure");
}

TEST_F(ClientTls, AFurtherFileWithoutACertificateAddsNone) {
  const TlsServer server(authority.sign(loopbackNames));
  const TemporaryDirectory place;
  std::ofstream(place.file("words.pem")) << "no certificate";
  const ScopedNetSettings settings(trusting(place.file("words.pem")));

  EXPECT_EQ(get(server.url()).resultCode, 60);
}

TEST_F(ClientTls, ClientsShareSessionsFromManyThreads) {
  const TlsServer server(authority.sign(loopbackNames));
  const ScopedNetSettings settings(trusting(authority.file()));
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 3; ++round) {
        if (get(server.url()).content == "secure") ++good;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(good, 12);
}

}  // namespace
