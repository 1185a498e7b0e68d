// What the network client makes of what comes back.
#include "foundation/BsNet/client/NetClientFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

using testing::HasSubstr;

namespace {

std::string gzipped(const std::string& plain) {
  z_stream stream{};
  deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&stream, static_cast<uLong>(plain.size())) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data()));
  stream.avail_in = static_cast<uInt>(plain.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

/// A server that answers each connection's first request with these bytes and closes.
RawServer::Serve rawReply(const std::string& bytes) {
  return [bytes](RawConnection& connection) {
    RawConnection::Request request;
    if (connection.readRequest(request)) connection.send(bytes);
  };
}

TEST(ClientReply, EveryStatusIsData) {
  const RawServer server(eachRequest([](RawConnection& connection, const RawConnection::Request& request) {
    connection.reply(std::stoi(request.line.substr(request.line.find('/') + 1)), "body");
  }));
  const auto client = newClient();
  for (const int status : {200, 201, 301, 308, 400, 401, 403, 404, 407, 429, 500, 503, 599}) {
    const auto reply = perform(*client, server.url("/" + std::to_string(status)), KBL::httpGet);
    EXPECT_EQ(reply.resultCode, 0) << status;
    EXPECT_EQ(reply.httpCode, status);
    EXPECT_EQ(reply.content, "body");
  }
}

TEST(ClientReply, HeadersAreFoundInAnyCaseAndRepeatedOnesMakeAList) {
  const RawServer server(
      rawReply("HTTP/1.1 200 OK\r\nlocation:  /x \r\nX-A: 1\r\nx-a: 2\r\nX-Empty:\r\n"
               "Content-Length: 0\r\n\r\n"));

  const auto reply = get(server.url());

  EXPECT_EQ(reply.headers.at("Location"), "/x");
  EXPECT_EQ(reply.headers.at("X-A"), "1, 2");
  EXPECT_EQ(reply.headers.at("X-EMPTY"), "");
}

TEST(ClientReply, HeadersOfAnInterimResponseAreNotKept) {
  const RawServer server(
      rawReply("HTTP/1.1 100 Continue\r\nX-Interim: 1\r\n\r\nHTTP/1.1 103 Early Hints\r\n"
               "Link: a\r\n\r\nHTTP/1.1 201 Created\r\nX-Final: 1\r\nContent-Length: 1\r\n\r\nb"));
  Progress progress;
  const auto client = newClient();

  const auto reply = perform(*client, server.url(), KBL::httpPost, &progress);

  EXPECT_EQ(reply.httpCode, 201);
  EXPECT_EQ(reply.content, "b");
  EXPECT_EQ(reply.headers.count("X-Interim"), 0U);
  EXPECT_EQ(reply.headers.count("Link"), 0U);
  EXPECT_EQ(reply.headers.at("X-Final"), "1");
  EXPECT_EQ(progress.started, std::vector<int>{201});
}

TEST(ClientReply, TrailersAreKeptApart) {
  const RawServer server(
      rawReply("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nTrailer: X-Sum\r\n\r\n"
               "3\r\nabc\r\n2\r\nde\r\n0\r\nX-Sum: 5\r\n\r\n"));

  const auto reply = get(server.url());

  EXPECT_EQ(reply.resultCode, 0);
  EXPECT_EQ(reply.content, "abcde");
  EXPECT_EQ(reply.trailers.at("x-sum"), "5");
  EXPECT_EQ(reply.headers.count("X-Sum"), 0U);
}

TEST(ClientReply, CompressedBodyIsDecodedAlsoWhenTheCallerAskedForIt) {
  const std::string plain(100000, 'z');
  const RawServer server(eachRequest([&](RawConnection& connection, const RawConnection::Request&) {
    connection.reply(200, gzipped(plain), "Content-Encoding: gzip\r\n");
  }));
  const auto client = newClient();
  EXPECT_TRUE(perform(*client, server.url(), KBL::httpGet).content == plain);
  client->setHeaders({{"accept-encoding", "gzip, deflate"}});

  EXPECT_TRUE(perform(*client, server.url(), KBL::httpGet).content == plain);
}

TEST(ClientReply, BodyAboveTheLimitIsATransportFailure) {
  const ScopedNetSettings settings({.extraCaFile = {}, .maxReplyBytes = 1000, .connectTimeoutMs = 30000});
  const RawServer server(eachRequest([](RawConnection& connection, const RawConnection::Request& request) {
    connection.reply(200, std::string(request.line.find("over") != std::string::npos ? 1001 : 1000, 'x'));
  }));
  const auto client = newClient();

  const auto atLimit = perform(*client, server.url("/at"), KBL::httpGet);
  const auto over = perform(*client, server.url("/over"), KBL::httpGet);

  EXPECT_EQ(atLimit.resultCode, 0);
  EXPECT_EQ(atLimit.content.size(), 1000U);
  EXPECT_EQ(over.resultCode, 63);
  EXPECT_EQ(over.httpCode, -1);
  EXPECT_EQ(over.content, "");
  EXPECT_EQ(over.errorMessage, "the reply is larger than the limit of 1000 bytes");
}

TEST(ClientReply, CompressedBombEndsAtTheLimitOfDecodedBytes) {
  const ScopedNetSettings settings({.extraCaFile = {}, .maxReplyBytes = 1 << 20, .connectTimeoutMs = 30000});
  const std::string bomb = gzipped(std::string(100 << 20, '\0'));
  const RawServer server(eachRequest([&](RawConnection& connection, const RawConnection::Request&) {
    connection.reply(200, bomb, "Content-Encoding: gzip\r\n");
  }));

  EXPECT_EQ(get(server.url()).resultCode, 63);
}

TEST(ClientReply, EndlessHeadersEndAtTheirLimit) {
  const RawServer server([](RawConnection& connection) {
    RawConnection::Request request;
    if (!connection.readRequest(request)) return;
    connection.send("HTTP/1.1 200 OK\r\n");
    while (connection.send("X-More: " + std::string(1000, 'm') + "\r\n")) {
    }
  });

  const auto reply = get(server.url());

  EXPECT_EQ(reply.resultCode, 63);
  EXPECT_EQ(reply.errorMessage, "the reply's headers are larger than the limit");
}

TEST(ClientReply, BodyOfAnAnnouncedLengthTakesItsMemoryAtOnce) {
  constexpr std::size_t bytes = (5U << 20) + 1;
  const KeepingServer server(std::string(bytes, 'r'));

  const auto reply = get(server.url());

  EXPECT_EQ(reply.content.size(), bytes);
  EXPECT_EQ(reply.content.capacity(), bytes);
}

TEST(ClientReply, AnnouncedLengthIsTrustedWithEightMebibytes) {
  const RawServer server(eachRequest([](RawConnection& connection, const RawConnection::Request& request) {
    const bool isHuge = request.line.starts_with("GET /huge");
    connection.send("HTTP/1.1 200 OK\r\nContent-Encoding: identity\r\nContent-Length: " +
                    std::string(isHuge ? "60000000" : "9000000") + "\r\n\r\n" + std::string(9000000, 'r'));
    if (isHuge) connection.reset();
  }));

  const auto reply = get(server.url());

  EXPECT_EQ(reply.content.size(), 9000000U);
  EXPECT_GT(reply.content.capacity(), 9000000U);
  EXPECT_NE(get(server.url("/huge")).resultCode, 0);
}

TEST(ClientReply, HeadersMayHave256KiBWithTheirLineEnds) {
  const std::string first = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n";
  const std::string last = "\r\n";
  const std::string name = "X-More: ";
  std::atomic<std::size_t> spare{0};
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    while (connection.readRequest(request)) {
      std::size_t left = (std::size_t{256} << 10) + spare - first.size() - last.size();
      std::string head = first;
      while (left > 0) {
        const std::size_t line = left > 2000 ? 1000 : left;
        head += name + std::string(line - name.size() - last.size(), 'm') + last;
        left -= line;
      }
      connection.send(head + last + "body");
    }
  });

  EXPECT_EQ(get(server.url()).content, "body");
  spare = 1;
  EXPECT_EQ(get(server.url()).resultCode, 63);
}

TEST(ClientReply, EndlessInterimResponsesEndAtTheLimitToo) {
  const RawServer server([](RawConnection& connection) {
    RawConnection::Request request;
    if (!connection.readRequest(request)) return;
    while (connection.send("HTTP/1.1 100 Continue\r\n\r\n")) {
    }
  });

  EXPECT_EQ(get(server.url()).resultCode, 63);
}

TEST(ClientReply, BrokenRepliesAreTransportFailures) {
  const std::pair<const char*, int> replies[] = {
      {"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nshort", 18},
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", 56},
      {"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 7\r\n\r\nno gzip", 61},
      {"not http at all\r\n\r\n", 1},
      {"", 52},
  };
  for (const auto& [bytes, code] : replies) {
    const RawServer server(rawReply(bytes));

    const auto reply = get(server.url());

    EXPECT_EQ(reply.resultCode, code) << bytes;
    EXPECT_EQ(reply.httpCode, -1);
    EXPECT_EQ(reply.content, "");
    EXPECT_NE(reply.errorMessage, "");
  }
}

TEST(ClientReply, WriterTakesTheBodyInPlaceOfTheReply) {
  const RawServer server(eachRequest([](RawConnection& connection, const RawConnection::Request&) {
    connection.reply(200, std::string(300000, 'w'));
  }));
  const ScopedNetSettings settings({.extraCaFile = {}, .maxReplyBytes = 10, .connectTimeoutMs = 30000});
  CollectingWriter writer;
  int context = 0;

  const auto reply = newClient()->perform(KBL::URL::FromString(server.url()), KBL::httpGet, &writer, &context,
                                          nullptr, nullptr);

  EXPECT_EQ(reply.resultCode, 0);
  EXPECT_EQ(reply.content, "");
  EXPECT_EQ(writer.bytes, std::string(300000, 'w'));
  EXPECT_EQ(writer.lastContext, &context);
}

TEST(ClientReply, WriterThatRefusesEndsTheExchange) {
  const RawServer server(eachRequest([](RawConnection& connection, const RawConnection::Request&) {
    connection.reply(200, std::string(300000, 'w'));
  }));
  CollectingWriter writer;
  writer.limit = 0;
  const auto client = newClient();

  const auto reply = perform(*client, server.url(), KBL::httpGet, nullptr, &writer);

  EXPECT_EQ(reply.resultCode, 23);
  EXPECT_LT(writer.bytes.size(), 300000U);
}

TEST(ClientReply, DeadServerIsATransportFailureWithoutQueryInTheText) {
  int port = 0;
  {
    const KeepingServer server;
    port = server.port();
  }

  const auto reply = get("http://127.0.0.1:" + std::to_string(port) + "/?access_token=hidden");

  EXPECT_EQ(reply.resultCode, 7);
  EXPECT_EQ(reply.httpCode, -1);
  EXPECT_NE(reply.errorMessage, "");
  EXPECT_EQ(reply.errorMessage.find("hidden"), std::string::npos);
}

}  // namespace
