// How a network client goes on with the connections of an earlier one, and when it must not.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "foundation/BsNet/client/TlsServer.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"
#include <BsNet/IBodySource.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string textOf(const std::string& path) {
  return {std::istreambuf_iterator<char>(std::ifstream(path, std::ios::binary).rdbuf()), {}};
}

/// Longer than a connection may be idle, and than a file must be old to be kept.
constexpr std::chrono::milliseconds tooLong(3300);

class ClientReuse : public testing::Test {
 protected:
  // What another test has left idle counts, too.
  const ScopedNetSettings settings_{KBL::NetSettings{}};
};

TEST_F(ClientReuse, TheNextClientGoesOnWithTheConnection) {
  const KeepingServer server("body");

  for (int round = 0; round < 5; ++round) ASSERT_EQ(get(server.url()).content, "body");

  EXPECT_EQ(server.connections(), 1);
}

TEST_F(ClientReuse, TheNextClientGoesOnWithTheConnectionOverTls) {
  TestAuthority authority;
  const TlsServer server(authority.sign(loopbackNames));
  const ScopedNetSettings settings({.extraCaFile = authority.file()});

  for (int round = 0; round < 5; ++round) ASSERT_EQ(get(server.url()).content, "secure");

  EXPECT_EQ(server.connections(), 1);
}

TEST_F(ClientReuse, NothingOfTheClientBeforeIsSent) {
  const KeepingServer server;
  const std::string url = server.url();
  {
    const auto client = newClient();
    client->setHeaders({{"X-First", "1"}, {"Cookie", "a=b"}, {"Accept-Encoding", "identity"}});
    client->setBearerToken("first");
    client->setBody("first");
    ASSERT_EQ(perform(*client, "http://user:password@" + url.substr(7), KBL::httpPost).httpCode, 200);
  }
  ASSERT_EQ(get(url).httpCode, 200);
  KBL::setNetSettings({});
  ASSERT_EQ(get(url).httpCode, 200);

  ASSERT_EQ(server.connections(), 2);
  EXPECT_EQ(server.requests().at(1).head, server.requests().at(2).head);
  EXPECT_EQ(server.requests().at(1).body, "");
}

class RepeatableSource : public KBL::IBodySource {
 public:
  explicit RepeatableSource(std::string bytes) : bytes_(std::move(bytes)) {}
  bool readBody(unsigned long long offset, char* buffer, unsigned long long count) override {
    std::memcpy(buffer, bytes_.data() + offset, static_cast<std::size_t>(count));
    return true;
  }

 private:
  const std::string bytes_;
};

struct Way {
  const char* name;
  int method;
  std::function<void(KBL::INetworkClient&)> prepare;
};
void PrintTo(const Way& way, std::ostream* out) {
  *out << way.name;
}

RepeatableSource& smallSource() {
  static RepeatableSource source(std::string(40000, 's'));
  return source;
}

class ResetOfAnInheritedConnection : public ClientReuse, public testing::WithParamInterface<Way> {
 protected:
  using End = std::function<void(RawConnection&)>;

  /// Makes the exchange with a server that ends the connection, by `end`, under every request but the first
  /// `good` ones, which other clients make.
  static KBL::NetReply exchange(int good, const End& end, int& requests, int& connections) {
    std::atomic<int> seen{0};
    const RawServer server([&](RawConnection& connection) {
      RawConnection::Request request;
      while (connection.readRequest(request)) {
        if (++seen > good) return end(connection);
        connection.reply(200);
      }
    });
    for (int round = 0; round < good; ++round) EXPECT_EQ(get(server.url()).httpCode, 200);
    const auto client = newClient();
    GetParam().prepare(*client);
    KBL::NetReply reply = perform(*client, server.url(), GetParam().method);
    requests = seen - good;
    connections = server.connections();
    return reply;
  }

  /// What is told on an inherited connection is what is told on a fresh one.
  static void expectToldOnce(const End& end, const testing::Matcher<int>& code) {
    int requests = 0;
    int connections = 0;
    const auto fresh = exchange(0, end, requests, connections);
    EXPECT_THAT(fresh.resultCode, code);
    ASSERT_EQ(requests, 1);

    const auto inherited = exchange(2, end, requests, connections);

    EXPECT_EQ(inherited.resultCode, fresh.resultCode);
    EXPECT_EQ(inherited.errorMessage, fresh.errorMessage);
    EXPECT_EQ(inherited.httpCode, -1);
    EXPECT_EQ(requests, 1);
    EXPECT_EQ(connections, 1);
  }
};

TEST_P(ResetOfAnInheritedConnection, IsToldAndTheRequestLeavesOnce) {
  expectToldOnce([](RawConnection& connection) { connection.reset(); }, aReset());
}

TEST_P(ResetOfAnInheritedConnection, IsToldAsAnEmptyReplyWhereTheServerCloses) {
  expectToldOnce([](RawConnection&) {}, 52);
}

INSTANTIATE_TEST_SUITE_P(
    Client, ResetOfAnInheritedConnection,
    testing::Values(Way{"get", KBL::httpGet, [](KBL::INetworkClient&) {}},
                    Way{"post", KBL::httpPost, [](KBL::INetworkClient& client) { client.setBody("small"); }},
                    Way{"largePost", KBL::httpPost,
                        [](KBL::INetworkClient& client) { client.setBody(std::string(40000, 'b')); }},
                    Way{"put", KBL::httpPut, [](KBL::INetworkClient& client) { client.setBody("small"); }},
                    Way{"source", KBL::httpPut,
                        [](KBL::INetworkClient& client) {
                          KBL::bodySourceClient(&client)->setBodySource(&smallSource(), 40000);
                        }}),
    [](const auto& way) { return way.param.name; });

TEST_F(ClientReuse, ResetWithinABodyOnAnInheritedConnectionIsToldAndTheRequestLeavesOnce) {
  std::atomic<int> heads{0};
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    if (!connection.readHead(request)) return;
    connection.reply(200);
    while (connection.readHead(request)) {
      ++heads;
      connection.reset();
      return;
    }
  });
  ASSERT_EQ(get(server.url()).httpCode, 200);
  const auto client = newClient();
  client->setBody(patterned(4 << 20));

  EXPECT_NE(perform(*client, server.url(), KBL::httpPut).resultCode, 0);

  EXPECT_EQ(heads, 1);
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(ClientReuse, AfterAResetTheSameClientGoesOnOnAnotherConnection) {
  std::atomic<int> seen{0};
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    while (connection.readRequest(request)) {
      if (++seen == 2) return connection.reset();
      connection.reply(200, request.body);
    }
  });
  ASSERT_EQ(get(server.url()).httpCode, 200);
  const auto client = newClient();
  client->setBody("body");
  EXPECT_THAT(perform(*client, server.url(), KBL::httpPost).resultCode, aReset());

  EXPECT_EQ(perform(*client, server.url(), KBL::httpPost).content, "body");

  EXPECT_EQ(server.connections(), 2);
}

/// Whether the second request of a client is answered, although the connection is reset under it.
bool isSentAgain(int inherited) {
  std::atomic<int> seen{0};
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    while (connection.readRequest(request)) {
      if (++seen == inherited + 2) return connection.reset();
      connection.reply(200, request.body);
    }
  });
  for (int round = 0; round < inherited; ++round) EXPECT_EQ(get(server.url()).httpCode, 200);
  const auto client = newClient();
  client->setBody("body");
  EXPECT_EQ(perform(*client, server.url(), KBL::httpPost).content, "body");
  EXPECT_EQ(server.connections(), 1);
  const bool isAnswered = perform(*client, server.url(), KBL::httpPost).content == "body";
  EXPECT_EQ(seen, inherited + 3);
  return isAnswered;
}

// As ever where a client goes on with a connection that it has used itself.
TEST_F(ClientReuse, ALaterRequestOfAClientIsSentAgain) {
  EXPECT_TRUE(isSentAgain(0));
  EXPECT_TRUE(isSentAgain(2));
}

TEST_F(ClientReuse, AConnectionThatTheServerHasClosedIsNotInherited) {
  std::atomic<int> closed{0};
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    if (connection.readRequest(request)) connection.reply(200, request.body);
    connection.reset();
    ++closed;
  });
  for (int i = 1; i <= 3; ++i) {
    const auto client = newClient();
    client->setBody(std::to_string(i));
    EXPECT_EQ(perform(*client, server.url(), KBL::httpPost).content, std::to_string(i));
    ASSERT_TRUE(waitUntil([&] { return closed == i; }));
  }

  EXPECT_EQ(server.connections(), 3);
}

// libcurl takes the words of leave for a connection that stands.
TEST_F(ClientReuse, AConnectionOverTlsOfWhichTheServerHasTakenLeaveIsNotInherited) {
  TestAuthority authority;
  const TlsServer server(authority.sign(loopbackNames), 1);
  const ScopedNetSettings settings({.extraCaFile = authority.file()});
  ASSERT_EQ(get(server.url()).content, "secure");
  std::this_thread::sleep_for(std::chrono::milliseconds(1700));

  const KBL::NetReply reply = get(server.url());

  EXPECT_EQ(reply.content, "secure") << reply.resultCode << " " << reply.errorMessage;
  EXPECT_EQ(server.connections(), 2);
}

TEST_F(ClientReuse, AConnectionThatEndsAtAProxyIsNotInherited) {
  const KeepingServer proxy("by proxy");
  const auto through = [&] {
    const auto client = newClient();
    client->setProxy(KBL::proxyHttp, "127.0.0.1", proxy.port(), "", "");
    EXPECT_EQ(perform(*client, "http://host.test/", KBL::httpGet).content, "by proxy");
    EXPECT_EQ(perform(*client, "http://host.test/", KBL::httpGet).content, "by proxy");
    return proxy.connections();
  };

  EXPECT_EQ(through(), 1);
  EXPECT_EQ(through(), 2);
}

TEST_F(ClientReuse, ANewProxyOfAClientTakesEffectAtOnce) {
  const KeepingServer proxy("by proxy");
  const auto client = newClient();
  const auto through = [&](const std::string& user) {
    client->setProxy(KBL::proxyHttp, "127.0.0.1", proxy.port(), user, "secret");
    EXPECT_EQ(perform(*client, "http://host.test/", KBL::httpGet).content, "by proxy");
    return proxy.connections();
  };

  EXPECT_EQ(through("one"), 1);
  EXPECT_EQ(through("one"), 1);
  EXPECT_EQ(through("other"), 2);
}

TEST_F(ClientReuse, AConnectionOfOneWhoTrustsIsNotForOneWhoDoesNot) {
  TestAuthority authority;
  TestAuthority strange;
  const TlsServer server(authority.sign(loopbackNames));
  const ScopedNetSettings settings({.extraCaFile = authority.file()});
  auto one = newClient();
  auto another = newClient();
  KBL::setNetSettings({.extraCaFile = strange.file()});
  const auto stranger = newClient();
  KBL::setNetSettings(knowingAStrangerAtMost(strange.file()));
  const auto plain = newClient();
  ASSERT_EQ(perform(*one, server.url(), KBL::httpGet).content, "secure");
  one.reset();

  EXPECT_EQ(perform(*plain, server.url(), KBL::httpGet).resultCode, 60);
  EXPECT_EQ(perform(*stranger, server.url(), KBL::httpGet).resultCode, 60);
  EXPECT_EQ(perform(*another, server.url(), KBL::httpGet).content, "secure");
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(ClientReuse, AConnectionThatWasIdleForLongIsNotInherited) {
  const KeepingServer server;
  ASSERT_EQ(get(server.url()).httpCode, 200);
  std::this_thread::sleep_for(tooLong);

  ASSERT_EQ(get(server.url()).httpCode, 200);

  EXPECT_EQ(server.connections(), 2);
}

// The handle was used meanwhile, for another server.
TEST_F(ClientReuse, EachConnectionHasAnAgeOfItsOwn) {
  const KeepingServer server;
  const KeepingServer another;
  ASSERT_EQ(get(server.url()).httpCode, 200);
  std::this_thread::sleep_for(tooLong / 2);
  ASSERT_EQ(get(another.url()).httpCode, 200);
  std::this_thread::sleep_for(tooLong / 2);

  ASSERT_EQ(get(server.url()).httpCode, 200);
  ASSERT_EQ(get(another.url()).httpCode, 200);

  EXPECT_EQ(server.connections(), 2);
  EXPECT_EQ(another.connections(), 1);
}

TEST_F(ClientReuse, ExchangesAtOnceNeverShareAConnection) {
  constexpr int atOnce = 4;
  std::atomic<int> waiting{0};
  const RawServer server(eachRequest([&](RawConnection& connection, const RawConnection::Request& request) {
    if (request.line.find("/wait") != std::string::npos) {
      ++waiting;
      EXPECT_TRUE(waitUntil([&] { return waiting == atOnce; }));
    }
    connection.reply(200);
  }));
  ASSERT_EQ(get(server.url()).httpCode, 200);
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < atOnce; ++i) {
    threads.emplace_back([&] {
      if (get(server.url("/wait")).httpCode == 200) ++good;
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(good, atOnce);
  EXPECT_EQ(server.connections(), atOnce);
}

/// Counts the connections that it has accepted and that have ended.
class CountingServer {
 public:
  CountingServer()
      : server_([this](RawConnection& connection) {
          RawConnection::Request request;
          while (connection.readRequest(request)) connection.reply(200);
          ++ended_;
        }) {}
  [[nodiscard]] std::string url() const { return server_.url(); }
  [[nodiscard]] int connections() const { return server_.connections(); }
  [[nodiscard]] bool seesEnded(int count) const {
    return waitUntil([&] { return ended_ == count; });
  }

 private:
  std::atomic<int> ended_{0};
  RawServer server_;
};

TEST_F(ClientReuse, NoMoreThanAFewConnectionsAreKeptIdle) {
  const CountingServer server;
  constexpr int kept = 4;
  constexpr int more = 3;
  std::vector<ClientOwner> clients;
  for (int i = 0; i < kept + more; ++i) {
    clients.push_back(newClient());
    ASSERT_EQ(perform(*clients.back(), server.url(), KBL::httpGet).httpCode, 200);
  }
  ASSERT_EQ(server.connections(), kept + more);

  clients.clear();
  EXPECT_TRUE(server.seesEnded(more));
  KBL::setNetSettings({});

  EXPECT_TRUE(server.seesEnded(kept + more));
}

TEST_F(ClientReuse, SettingsEndIdleConnections) {
  const CountingServer server;
  ASSERT_EQ(get(server.url()).httpCode, 200);

  KBL::setNetSettings({});

  EXPECT_TRUE(server.seesEnded(1));
}

TEST_F(ClientReuse, AClientWhoseLastExchangeFailedLeavesNothing) {
  const CountingServer server;
  const int nobody = freePort();
  {
    const auto client = newClient();
    ASSERT_EQ(perform(*client, server.url(), KBL::httpGet).httpCode, 200);
    ASSERT_EQ(perform(*client, "http://127.0.0.1:" + std::to_string(nobody) + "/", KBL::httpGet).resultCode,
              7);
  }

  EXPECT_TRUE(server.seesEnded(1));
}

TEST_F(ClientReuse, AnAuthorityFileThatChangesIsReadAnew) {
  TestAuthority first;
  TestAuthority second;
  const TlsServer firstServer(first.sign(loopbackNames));
  const TlsServer secondServer(second.sign(loopbackNames));
  const TemporaryDirectory place;
  const std::string file = place.write("authority.pem", textOf(first.file()));
  std::this_thread::sleep_for(tooLong);
  const ScopedNetSettings settings({.extraCaFile = file});
  ASSERT_EQ(get(firstServer.url()).content, "secure");
  ASSERT_EQ(get(firstServer.url()).content, "secure");

  place.write("authority.pem", textOf(second.file()));

  EXPECT_EQ(get(secondServer.url()).content, "secure");
  std::this_thread::sleep_for(tooLong);
  EXPECT_EQ(get(secondServer.url()).content, "secure");
  EXPECT_EQ(get(firstServer.url()).resultCode, 60);
}

TEST_F(ClientReuse, ASmallPostGoesOutInOnePiece) {
  std::atomic<bool> isWhole{false};
  const RawServer server([&](RawConnection& connection) {
    isWhole = connection.readSome().ends_with("\r\n\r\nbody");
    connection.reply(200);
  });
  const auto client = newClient();
  client->setBody("body");

  ASSERT_EQ(perform(*client, server.url(), KBL::httpPost).httpCode, 200);

  EXPECT_TRUE(isWhole);
}

}  // namespace
