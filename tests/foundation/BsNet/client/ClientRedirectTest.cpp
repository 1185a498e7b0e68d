// When the network client follows a redirection, and with what.
#include "foundation/BsNet/client/NetClientFixture.h"

#include <gtest/gtest.h>

namespace {

RawServer::Serve redirectTo(std::function<std::string()> target, int status = 302) {
  return eachRequest([target = std::move(target), status](RawConnection& connection, const auto&) {
    connection.reply(status, "moved", "Location: " + target() + "\r\n");
  });
}

TEST(ClientRedirect, GetFollowsAndBringsTheLastReplyAlone) {
  const RawServer server(eachRequest([](RawConnection& connection, const RawConnection::Request& request) {
    if (request.line == "GET /start HTTP/1.1") {
      connection.reply(302, "moved", "Location: next?a=b\r\nX-Hop: 1\r\n");
    } else {
      connection.reply(200, request.line, "X-Last: 1\r\n");
    }
  }));
  Progress progress;
  CollectingWriter writer;
  const auto client = newClient();

  const auto reply = perform(*client, server.url("/start"), KBL::httpGet, &progress, &writer);

  EXPECT_EQ(reply.httpCode, 200);
  EXPECT_EQ(writer.bytes, "GET /next?a=b HTTP/1.1");
  EXPECT_EQ(reply.headers.count("X-Hop"), 0U);
  EXPECT_EQ(reply.headers.count("X-Last"), 1U);
  EXPECT_EQ(progress.started, std::vector<int>{200});
}

TEST(ClientRedirect, RequestsThatMayCarryABodyAreNotRedirected) {
  const KeepingServer target;
  const RawServer server(redirectTo([&] { return target.url(); }, 307));
  for (const int method : {KBL::httpPost, KBL::httpPut}) {
    const auto client = newClient();
    client->setBody("body");

    const auto reply = perform(*client, server.url(), method);

    EXPECT_EQ(reply.httpCode, 307);
    EXPECT_EQ(reply.content, "moved");
    EXPECT_EQ(reply.headers.at("location"), target.url());
  }
  EXPECT_TRUE(target.requests().empty());
}

TEST(ClientRedirect, SameOriginKeepsTheCredentials) {
  const RawServer server(eachRequest([](RawConnection& connection, const RawConnection::Request& request) {
    if (request.line == "GET / HTTP/1.1") {
      connection.reply(301, "", "Location: /two\r\n");
    } else {
      connection.reply(200, request.headers.at("authorization") + request.headers.at("x-app-secret"));
    }
  }));
  const auto client = newClient();
  client->setBearerToken("token");
  client->setHeaders({{"X-App-Secret", "secret"}});

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).content, "Bearer tokensecret");
}

TEST(ClientRedirect, OtherOriginGetsNoCredentialsAlsoOnTheWayBack) {
  const KeepingServer last;
  std::string elsewhere;
  const RawServer first(redirectTo([&] { return elsewhere; }));
  const RawServer second(redirectTo([&] { return first.url("/back"); }));
  std::vector<RawConnection::Request> atFirst;
  const RawServer start(eachRequest([&](RawConnection& connection, const RawConnection::Request& request) {
    atFirst.push_back(request);
    const bool isBack = request.line.find("/back") != std::string::npos;
    connection.reply(302, "", "Location: " + (isBack ? last.url() : elsewhere) + "\r\n");
  }));
  const RawServer other(redirectTo([&] { return start.url("/back"); }));
  elsewhere = other.url();
  const auto client = newClient();
  client->setBearerToken("token");
  client->setHeaders({{"X-App-Secret", "secret"},
                      {"Cookie", "session=1"},
                      {"Accept", "text/plain"},
                      {"Accept-Language", "de"},
                      {"accept-encoding", "gzip"}});

  EXPECT_EQ(perform(*client, start.url("/start"), KBL::httpGet).httpCode, 200);

  ASSERT_EQ(atFirst.size(), 2U);
  EXPECT_EQ(atFirst[0].headers.at("authorization"), "Bearer token");
  ASSERT_EQ(last.requests().size(), 1U);
  for (const auto& request : {atFirst[1], last.requests()[0]}) {
    EXPECT_EQ(request.headers.count("authorization"), 0U);
    EXPECT_EQ(request.headers.count("x-app-secret"), 0U);
    EXPECT_EQ(request.headers.count("cookie"), 0U);
    EXPECT_EQ(request.headers.at("accept-language"), "de");
    EXPECT_EQ(request.headers.at("accept"), "text/plain");
  }
}

TEST(ClientRedirect, AnotherNameOfTheHostIsAnotherOrigin) {
  const KeepingServer target;
  const RawServer server(
      redirectTo([&] { return "http://localhost:" + std::to_string(target.port()) + "/"; }));
  const auto client = newClient();
  client->setHeaders({{"Authorization", "Bearer token"}});

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).httpCode, 200);

  EXPECT_EQ(target.requests().at(0).headers.count("authorization"), 0U);
}

TEST(ClientRedirect, RingEndsAtTheLimit) {
  const RawServer server(redirectTo([] { return std::string("/again"); }));
  CollectingWriter writer;
  const auto client = newClient();

  const auto reply = perform(*client, server.url(), KBL::httpGet, nullptr, &writer);

  EXPECT_EQ(reply.resultCode, 47);
  EXPECT_EQ(writer.bytes, "");
}

TEST(ClientRedirect, OtherSchemesAreNotFollowedAndTheReplyIsWhole) {
  for (const char* const target : {"file:///etc/passwd", "ftp://127.0.0.1/", "javascript:alert(1)"}) {
    const RawServer server(redirectTo([target] { return std::string(target); }));
    Progress progress;
    CollectingWriter writer;
    const auto client = newClient();

    const auto reply = perform(*client, server.url(), KBL::httpGet, &progress, &writer);

    EXPECT_EQ(reply.resultCode, 0) << target;
    EXPECT_EQ(reply.httpCode, 302);
    EXPECT_EQ(writer.bytes, "moved");
    EXPECT_EQ(progress.started, std::vector<int>{302});
  }
}

TEST(ClientRedirect, StatusWithoutALocationIsData) {
  const RawServer server(eachRequest(
      [](RawConnection& connection, const auto&) { connection.reply(308, "", "Range: bytes=0-9\r\n"); }));

  const auto reply = get(server.url());

  EXPECT_EQ(reply.httpCode, 308);
  EXPECT_EQ(reply.headers.at("range"), "bytes=0-9");
}

TEST(ClientRedirect, TotalTimeCoversAllHops) {
  const RawServer server(eachRequest([](RawConnection& connection, const auto&) {
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    connection.reply(302, "", "Location: /again\r\n");
  }));
  const auto client = newClient();
  client->setTotalTimeout(300);

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).resultCode, 28);
}

}  // namespace
