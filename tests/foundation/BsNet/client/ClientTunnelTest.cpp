// TLS through a proxy: the tunnel, its user, and the server behind it.
#include "foundation/BsNet/client/GetThrough.h"
#include "foundation/BsNet/client/Relay.h"
#include "foundation/BsNet/client/TlsServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

using testing::EndsWith;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

/// Leads to any port of this machine whoever says "one" and "secret".
class TunnelProxy {
 public:
  TunnelProxy() : server_([this](RawConnection& client) { serve(client); }) {}

  [[nodiscard]] int port() const { return server_.port(); }
  [[nodiscard]] std::vector<RawConnection::Request> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

 private:
  void serve(RawConnection& client) {
    RawConnection::Request request;
    if (!client.readHead(request)) return;
    {
      const std::lock_guard lock(mutex_);
      requests_.push_back(request);
    }
    if (request.headers["proxy-authorization"] != "Basic b25lOnNlY3JldA==") {
      client.reply(407, "", "Proxy-Authenticate: Basic realm=\"tunnel\"\r\n");
      return;
    }
    const auto target = connectTo(std::stoi(request.line.substr(request.line.find(':') + 1)));
    if (target == nullptr || !client.send("HTTP/1.1 200 Connection established\r\nVia: 1.1 tunnel\r\n\r\n"))
      return;
    relayBothWays(client, *target);
  }

  mutable std::mutex mutex_;
  std::vector<RawConnection::Request> requests_;
  RawServer server_;
};

class ClientTunnel : public testing::Test {
 protected:
  [[nodiscard]] KBL::NetReply through(const std::string& user, const std::string& password) const {
    return getThrough(KBL::proxyHttp, proxy.port(), user, password, server.url());
  }

  TestAuthority authority;
  const ScopedNetSettings settings{{.extraCaFile = authority.file()}};
  const TlsServer server{authority.sign(loopbackNames)};
  const TunnelProxy proxy;
};

TEST_F(ClientTunnel, CarriesTlsAndShowsTheProxyNothingOfIt) {
  const auto reply = through("one", "secret");

  EXPECT_EQ(reply.content, "secure") << reply.errorMessage;
  EXPECT_EQ(reply.headers.count("Content-Length"), 1U) << "the proxy's answer stood for the server's";
  EXPECT_EQ(reply.headers.count("Via"), 0U);
  ASSERT_THAT(proxy.requests(), SizeIs(1));
  const RawConnection::Request seen = proxy.requests().front();
  EXPECT_THAT(seen.line, StartsWith("CONNECT "));
  EXPECT_THAT(seen.line, EndsWith(":" + std::to_string(server.port()) + " HTTP/1.1"));
  EXPECT_THAT(seen.head, Not(testing::HasSubstr("for-the-server-alone")));
}

TEST_F(ClientTunnel, IsForItsUserAlone) {
  EXPECT_EQ(through("one", "secret").content, "secure");
  EXPECT_EQ(through("one", "secret").content, "secure");
  EXPECT_THAT(proxy.requests(), SizeIs(1));
  EXPECT_EQ(through("other", "secret").content, "");
  EXPECT_EQ(through("one", "another secret").resultCode, 56);
  EXPECT_EQ(through("", "").content, "");
  EXPECT_EQ(through("one", "secret").content, "secure");
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(ClientTunnel, LeadsToNoServerOfAStrangeAuthority) {
  TestAuthority stranger;
  const TlsServer other(stranger.sign(loopbackNames));

  const auto reply = getThrough(KBL::proxyHttp, proxy.port(), "one", "secret", other.url());

  EXPECT_EQ(reply.resultCode, 60);
  EXPECT_EQ(reply.content, "");
  EXPECT_THAT(proxy.requests(), SizeIs(1));
}

}  // namespace
