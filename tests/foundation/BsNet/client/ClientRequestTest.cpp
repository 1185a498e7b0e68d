// What the network client sends.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "support/Seed.h"
#include "support/TemporaryDirectory.h"
#include <ExternlMediaTransfer/Version.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

using Headers = std::map<std::string, std::string>;

std::string randomBytes(std::size_t size) {
  auto random = seededGenerator();
  std::string bytes(size, '\0');
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
  return bytes;
}

TEST(ClientRequest, GetSendsNoBodyAndGetsTheReply) {
  const KeepingServer server("content");
  const auto client = newClient();
  client->setBody("left over");

  const KBL::NetReply reply = perform(*client, server.url("/path?q=1"), KBL::httpGet);

  EXPECT_EQ(reply.resultCode, 0);
  EXPECT_EQ(reply.httpCode, 200);
  EXPECT_EQ(reply.content, "content");
  EXPECT_EQ(reply.errorMessage, "");
  ASSERT_EQ(server.requests().size(), 1U);
  EXPECT_EQ(server.requests()[0].line, "GET /path?q=1 HTTP/1.1");
  EXPECT_EQ(server.requests()[0].headers.count("content-length"), 0U);
  EXPECT_EQ(server.requests()[0].headers.count("transfer-encoding"), 0U);
  EXPECT_EQ(server.requests()[0].headers.at("user-agent"), "media-transfer/" KBL_TRANSFER_VERSION);
}

TEST(ClientRequest, BodiesOfEverySizeArriveWhole) {
  const KeepingServer server;
  const auto client = newClient();
  for (const std::size_t size : {0U, 1U, 2U, 16383U, 16384U, 65537U, 262144U, 262145U, 1048577U, 5242881U}) {
    for (const int method : {KBL::httpPost, KBL::httpPut}) {
      const std::string body = randomBytes(size);
      client->setBody(body);

      const KBL::NetReply reply = perform(*client, server.url(), method);

      ASSERT_EQ(reply.httpCode, 200) << reply.errorMessage;
      const auto seen = server.requests().back();
      EXPECT_THAT(seen.line, StartsWith(method == KBL::httpPut ? "PUT / " : "POST / "));
      EXPECT_EQ(seen.headers.at("content-length"), std::to_string(size));
      EXPECT_EQ(seen.headers.count("expect"), 0U);
      EXPECT_TRUE(seen.body == body) << size;
    }
  }
  EXPECT_EQ(server.connections(), 1);
}

TEST(ClientRequest, BodyStaysUntilItIsReplaced) {
  const KeepingServer server;
  const auto client = newClient();
  client->setBody("one");
  perform(*client, server.url(), KBL::httpPost);
  perform(*client, server.url(), KBL::httpGet);
  perform(*client, server.url(), KBL::httpPut);
  client->setBody("");
  perform(*client, server.url(), KBL::httpPost);

  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 4U);
  EXPECT_EQ(requests[0].body, "one");
  EXPECT_EQ(requests[1].body, "");
  EXPECT_EQ(requests[2].body, "one");
  EXPECT_EQ(requests[3].body, "");
  EXPECT_EQ(requests[3].headers.at("content-length"), "0");
}

TEST(ClientRequest, CallersHeadersReplaceThoseBefore) {
  const KeepingServer server;
  const auto client = newClient();
  client->setHeaders({{"X-One", "1"}, {"Accept", "text/x"}, {"X-Empty", ""}});
  perform(*client, server.url(), KBL::httpGet);
  client->setHeaders({{"X-Two", "2"}});
  perform(*client, server.url(), KBL::httpGet);

  const auto requests = server.requests();
  EXPECT_EQ(requests[0].headers.at("x-one"), "1");
  EXPECT_EQ(requests[0].headers.at("accept"), "text/x");
  EXPECT_EQ(requests[0].headers.at("x-empty"), "");
  EXPECT_EQ(requests[1].headers.count("x-one"), 0U);
  EXPECT_EQ(requests[1].headers.at("x-two"), "2");
}

TEST(ClientRequest, ContentLengthOfTheCallerIsSentOnceAndNeverContradicts) {
  const KeepingServer server;
  const auto client = newClient();
  client->setBody("12345");
  client->setHeaders({{"Content-Length", "5"}});
  perform(*client, server.url(), KBL::httpPut);
  client->setHeaders(
      {{"content-length", "99"}, {"Transfer-Encoding", "chunked"}, {"expect", "100-continue"}});
  perform(*client, server.url(), KBL::httpPost);

  for (const auto& request : server.requests()) {
    EXPECT_EQ(request.headers.at("content-length"), "5");
    EXPECT_EQ(request.headers.count("transfer-encoding"), 0U);
    EXPECT_EQ(request.headers.count("expect"), 0U);
    EXPECT_EQ(request.body, "12345");
  }
}

TEST(ClientRequest, ContentTypeIsTheCallersOrNone) {
  const KeepingServer server;
  const auto client = newClient();
  client->setBody("{}");
  perform(*client, server.url(), KBL::httpPost);
  client->setHeaders({{"content-type", "application/json"}});
  perform(*client, server.url(), KBL::httpPost);

  EXPECT_EQ(server.requests()[0].headers.count("content-type"), 0U);
  EXPECT_EQ(server.requests()[1].headers.at("content-type"), "application/json");
}

TEST(ClientRequest, BearerIsSentOnceAndTheCallersOwnHeaderWins) {
  const KeepingServer server;
  const auto client = newClient();
  client->setBearerToken("token");
  perform(*client, server.url(), KBL::httpGet);
  client->setHeaders({{"authorization", "Bearer other"}});
  perform(*client, server.url(), KBL::httpGet);
  client->setHeaders({});
  client->setBearerToken("");
  perform(*client, server.url(), KBL::httpGet);

  EXPECT_EQ(server.requests()[0].headers.at("authorization"), "Bearer token");
  EXPECT_EQ(server.requests()[1].headers.at("authorization"), "Bearer other");
  EXPECT_EQ(server.requests()[2].headers.count("authorization"), 0U);
}

TEST(ClientRequest, TokenOfHundredThousandCharactersArrives) {
  const KeepingServer server;
  const auto client = newClient();
  const std::string token(100000, 't');
  client->setBearerToken(token);

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).httpCode, 200);

  EXPECT_EQ(server.requests()[0].headers.at("authorization"), "Bearer " + token);
}

TEST(ClientRequest, HeaderWithALineBreakIsRefusedUnsent) {
  const KeepingServer server;
  for (const Headers& headers :
       {Headers{{"X-A", "1\r\nX-B: 2"}}, Headers{{"X-A: 1\r\nX-B", "2"}}, Headers{{"", "x"}},
        Headers{{"a b", "x"}}, Headers{{"X-A", std::string("a\0b", 3)}}}) {
    const auto client = newClient();
    client->setHeaders(headers);
    const KBL::NetReply reply = perform(*client, server.url(), KBL::httpGet);
    EXPECT_EQ(reply.resultCode, 43);
    EXPECT_THAT(reply.errorMessage, HasSubstr("header"));
  }
  const auto client = newClient();
  client->setBearerToken("a\nb");
  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).resultCode, 43);
  EXPECT_EQ(server.connections(), 0);
}

TEST(ClientRequest, CodingsOfTheCallerAreAskedForAndElseAll) {
  const KeepingServer server;
  const auto client = newClient();
  perform(*client, server.url(), KBL::httpGet);
  client->setHeaders({{"accept-encoding", "gzip, deflate"}});
  perform(*client, server.url(), KBL::httpGet);

  EXPECT_THAT(server.requests()[0].headers.at("accept-encoding"), HasSubstr("gzip"));
  EXPECT_EQ(server.requests()[1].headers.at("accept-encoding"), "gzip, deflate");
}

TEST(ClientRequest, FormStreamsTheFileWithItsOwnContentType) {
  const TemporaryDirectory place;
  const std::string contents = randomBytes(3000000);
  const std::string path = place.write("video \xc3\xa4.mp4", contents);
  const KeepingServer server;
  const auto client = newClient();
  client->setHeaders({{"Content-Type", "application/json"}, {"X-One", "1"}});
  client->setBody("not sent");
  client->setUploadSource({{"video", path}});

  const KBL::NetReply reply = perform(*client, server.url(), KBL::httpPost);

  ASSERT_EQ(reply.httpCode, 200) << reply.errorMessage;
  const auto seen = server.requests().at(0);
  EXPECT_THAT(seen.line, StartsWith("POST / "));
  EXPECT_THAT(seen.headers.at("content-type"), StartsWith("multipart/form-data; boundary="));
  EXPECT_EQ(seen.headers.at("x-one"), "1");
  EXPECT_EQ(seen.headers.count("expect"), 0U);
  EXPECT_THAT(seen.body.substr(0, 300),
              HasSubstr("Content-Disposition: form-data; name=\"video\"; filename=\"video \xc3\xa4.mp4\""));
  EXPECT_NE(seen.body.find(contents), std::string::npos);
}

TEST(ClientRequest, FormOfSeveralFilesAndAnEmptyOneArrives) {
  const TemporaryDirectory place;
  const KeepingServer server;
  const auto client = newClient();
  client->setUploadSource({{"a", place.write("a.txt", "first file")}, {"b", place.write("b.txt", "")}});

  EXPECT_EQ(perform(*client, server.url(), KBL::httpPut).httpCode, 200);

  const auto seen = server.requests().at(0);
  EXPECT_THAT(seen.line, StartsWith("PUT / "));
  EXPECT_THAT(seen.body, HasSubstr("first file"));
  EXPECT_THAT(seen.body, HasSubstr("name=\"b\"; filename=\"b.txt\""));
}

TEST(ClientRequest, FormIsTakenAwayByAnEmptyMap) {
  const TemporaryDirectory place;
  const KeepingServer server;
  const auto client = newClient();
  client->setBody("body");
  client->setUploadSource({{"a", place.write("a.txt", "file")}});
  perform(*client, server.url(), KBL::httpPost);
  client->setUploadSource({});
  perform(*client, server.url(), KBL::httpPost);

  EXPECT_EQ(server.requests().at(1).body, "body");
}

TEST(ClientRequest, FormFileThatCannotBeReadIsATransportFailureWithoutNetwork) {
  const TemporaryDirectory place;
  const KeepingServer server;
  for (const std::string& path : {place.file("missing"), place.path().string()}) {
    const auto client = newClient();
    client->setUploadSource({{"video", path}});

    const KBL::NetReply reply = perform(*client, server.url(), KBL::httpPost);

    EXPECT_EQ(reply.resultCode, 26);
    EXPECT_THAT(reply.errorMessage, HasSubstr("\"video\""));
  }
  EXPECT_EQ(server.connections(), 0);
}

TEST(ClientRequest, FormFileThatIsCutMeanwhileIsATransportFailure) {
  const TemporaryDirectory place;
  const std::string path = place.write("video", std::string(8 << 20, 'v'));
  const RawServer server([&](RawConnection& connection) {
    std::filesystem::resize_file(path, 100);
    RawConnection::Request request;
    (void)connection.readRequest(request);
  });
  const auto client = newClient();
  client->setUploadSource({{"video", path}});

  const KBL::NetReply reply = perform(*client, server.url(), KBL::httpPost);

  EXPECT_EQ(reply.resultCode, 26);
  EXPECT_THAT(reply.errorMessage, HasSubstr("\"video\""));
}

TEST(ClientRequest, ConnectionIsKeptFromExchangeToExchangeOfAClient) {
  const KeepingServer server;
  const auto client = newClient();
  for (int i = 0; i < 10; ++i) EXPECT_EQ(perform(*client, server.url(), i % 3).httpCode, 200);
  EXPECT_EQ(server.connections(), 1);

  EXPECT_EQ(get(server.url()).httpCode, 200);

  EXPECT_EQ(server.connections(), 2);
}

TEST(ClientRequest, UnknownMethodAndUnusableAddressAreRefused) {
  const KeepingServer server;
  const auto client = newClient();

  EXPECT_EQ(perform(*client, server.url(), 3).resultCode, 43);
  EXPECT_EQ(perform(*client, server.url(), -1).resultCode, 43);
  EXPECT_EQ(perform(*client, "ftp://127.0.0.1/", KBL::httpGet).resultCode, 3);
  EXPECT_EQ(server.connections(), 0);
}

}  // namespace
