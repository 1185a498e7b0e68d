// Exchanges by proxy programs of the system.
#include "foundation/BsNet/client/GetThrough.h"
#include "foundation/BsNet/client/RealProxy.h"
#include "foundation/BsNet/client/TlsServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::HasSubstr;

TEST(HttpProxy, RealProxyForwardsWithUserAndPassword) {
  const auto proxy = RealProxy::http("user", "pass-word_1");
  ASSERT_TRUE(proxy->isListening()) << proxy->log();
  const KeepingServer server("through");

  const auto reply = getThrough(KBL::proxyHttp, proxy->port(), "user", "pass-word_1", server.url("/x"));

  EXPECT_EQ(reply.content, "through") << reply.errorMessage;
  EXPECT_EQ(server.requests().at(0).headers.count("proxy-authorization"), 0U);
  EXPECT_EQ(server.requests().at(0).headers.count("via"), 1U);
}

TEST(HttpProxy, RealProxyTunnelsTls) {
  TestAuthority authority;
  const TlsServer server(authority.sign(loopbackNames));
  const ScopedNetSettings settings({.extraCaFile = authority.file()});
  const auto proxy = RealProxy::http("user", "password");
  ASSERT_TRUE(proxy->isListening()) << proxy->log();

  const auto reply = getThrough(KBL::proxyHttp, proxy->port(), "user", "password", server.url());

  EXPECT_EQ(reply.content, "secure");
  EXPECT_EQ(reply.headers.count("Content-Length"), 1U) << "the proxy's answer stood for the server's";
  EXPECT_TRUE(reply.trailers.empty());
  EXPECT_THAT(proxy->log(), HasSubstr("CONNECT 127.0.0.1"));
}

TEST(HttpProxy, WrongPasswordIsAStatusOrAFailedTunnel) {
  const auto proxy = RealProxy::http("user", "password");
  ASSERT_TRUE(proxy->isListening()) << proxy->log();
  const KeepingServer server;

  const auto plain = getThrough(KBL::proxyHttp, proxy->port(), "user", "wrong", server.url());
  const auto tunnel = getThrough(KBL::proxyHttp, proxy->port(), "user", "wrong", "https://127.0.0.1:1/");

  EXPECT_THAT(plain.httpCode, testing::AnyOf(401, 407));
  EXPECT_EQ(tunnel.resultCode, 56);
  EXPECT_EQ(server.connections(), 0);
}

TEST(SocksProxy, RealProxyServesBothVersions) {
  const auto proxy = RealProxy::socks();
  ASSERT_TRUE(proxy->isListening()) << proxy->log();
  const KeepingServer server("through");

  const auto four = getThrough(KBL::proxySocks4, proxy->port(), "", "", server.url());
  const auto five = getThrough(KBL::proxySocks5, proxy->port(), "", "", server.url());

  EXPECT_EQ(four.content, "through") << four.errorMessage << proxy->log();
  EXPECT_EQ(five.content, "through") << five.errorMessage << proxy->log();
}

TEST(HttpProxy, TunnelsOfARealProxyAreForTheirUser) {
  TestAuthority authority;
  const TlsServer server(authority.sign(loopbackNames));
  const ScopedNetSettings settings({.extraCaFile = authority.file()});
  const auto proxy = RealProxy::http("one", "secret");
  ASSERT_TRUE(proxy->isListening());
  const auto through = [&](const std::string& user, const std::string& password) {
    const auto client = newClient();
    client->setProxy(KBL::proxyHttp, "127.0.0.1", proxy->port(), user, password);
    return perform(*client, server.url(), KBL::httpGet).content;
  };

  EXPECT_EQ(through("one", "secret"), "secure");
  EXPECT_EQ(through("one", "secret"), "secure");
  EXPECT_EQ(server.connections(), 1);
  EXPECT_EQ(through("other", "secret"), "");
  EXPECT_EQ(through("one", "another secret"), "");
  EXPECT_EQ(through("", ""), "");
  EXPECT_EQ(through("one", "secret"), "secure");
  EXPECT_EQ(server.connections(), 1);
}
