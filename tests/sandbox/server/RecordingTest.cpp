#include "sandbox/RawConnection.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"

#include <gmock/gmock.h>

#include <future>

namespace {

using sandbox::RecordedRequest;
using sandbox::Route;
using sandbox::Sandbox;
using sandbox::SandboxOptions;
using testing::HasSubstr;
using testing::Not;

constexpr std::chrono::seconds limit{30};

class Recording : public testing::Test {
 protected:
  std::string raw(const std::string& request) {
    RawConnection connection(server.port());
    connection.send(request);
    return connection.readAll();
  }

  Sandbox server;
  TestClient client{server};
};

TEST_F(Recording, KeepsARequestByTheLetter) {
  const std::string body = R"({"app_secret":"x"})";
  raw("POST /account/client_credentials?a=1%2B1&b=c+d HTTP/1.1\r\nhost: x\r\nX-Odd:  %41bc "
      "\r\ncontent-length: " +
      std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body);

  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  const RecordedRequest& request = requests[0];
  EXPECT_EQ(request.serial, 1U);
  EXPECT_EQ(request.route, Route::clientCredentials);
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.target, "/account/client_credentials?a=1%2B1&b=c+d");
  EXPECT_EQ(request.path, "/account/client_credentials");
  EXPECT_EQ(request.parameter("a"), "1+1");
  EXPECT_EQ(request.parameter("b"), "c d");
  EXPECT_EQ(request.headers[0].first, "host");
  EXPECT_EQ(request.header("x-odd"), "%41bc");
  EXPECT_EQ(request.body, body);
  EXPECT_EQ(request.bodySize, body.size());
  EXPECT_EQ(request.status, 200);
  EXPECT_EQ(request.fault, std::nullopt);
  EXPECT_LT(std::chrono::system_clock::now() - request.time, limit);
}

TEST_F(Recording, FindsTheBearerWhateverItsCase) {
  RecordedRequest request;
  request.headers = {{"authorization", "bearer abc"}};
  EXPECT_EQ(request.bearer(), "abc");
  request.headers = {{"Authorization", "Basic abc"}};
  EXPECT_EQ(request.bearer(), "");
  request.headers.clear();
  EXPECT_EQ(request.bearer(), "");
}

TEST_F(Recording, SortsByRouteAndCountsOn) {
  client.get("/avatar/x");
  client.get("/avatar/x");
  client.get("/nowhere");

  EXPECT_EQ(server.requests(Route::avatar).size(), 2U);
  EXPECT_EQ(server.requests(Route::unknown).size(), 1U);
  server.clearRequests();
  EXPECT_TRUE(server.requests().empty());
  EXPECT_EQ(server.requestCount(Route::avatar), 2U);
}

TEST_F(Recording, TellsReusedConnectionsApart) {
  client.get("/avatar/x");
  client.get("/avatar/x");
  TestClient(server).get("/avatar/x");

  const auto requests = server.requests(Route::avatar);
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(requests[0].connection, requests[1].connection);
  EXPECT_NE(requests[0].connection, requests[2].connection);
  EXPECT_EQ(server.connectionCount(), 2U);
}

TEST_F(Recording, CutsBodiesOffAtTheLimit) {
  SandboxOptions options;
  options.recordedBodyLimit = 10;
  const Sandbox small(options);
  TestClient(small).post("/account/consume", std::string(1000, 'b'));

  EXPECT_EQ(small.requests()[0].body, std::string(10, 'b'));
  EXPECT_EQ(small.requests()[0].bodySize, 1000U);
}

TEST_F(Recording, DropsTheOldestBeyondTheTotal) {
  SandboxOptions options;
  options.recordedTotalLimit = 20'000;
  const Sandbox small(options);
  TestClient other(small);
  for (int time = 0; time < 20; ++time) other.post("/account/consume", std::string(5000, 'b'));

  const auto requests = small.requests();
  EXPECT_LE(requests.size(), 4U);
  EXPECT_EQ(requests.back().serial, 20U);
  EXPECT_EQ(small.requestCount(Route::consume), 20U);
}

TEST_F(Recording, WaitEndsWhenTheRequestHasArrived) {
  auto waiting =
      std::async(std::launch::async, [&] { return server.waitForRequests(Route::avatar, 2, limit); });

  client.get("/avatar/x");
  client.get("/avatar/x");

  EXPECT_TRUE(waiting.get());
  EXPECT_FALSE(server.waitForRequests(Route::avatar, 3, std::chrono::milliseconds(0)));
}

TEST_F(Recording, WaitEndsWhenTheSandboxStops) {
  auto waiting =
      std::async(std::launch::async, [&] { return server.waitForRequests(Route::avatar, 1, limit); });

  server.stop();

  EXPECT_FALSE(waiting.get());
}

TEST_F(Recording, RefusesWhatBreaksTheProtocol) {
  const auto status = [&](const std::string& request) { return raw(request).substr(0, 12); };

  EXPECT_EQ(status("nonsense\r\n\r\n"), "HTTP/1.1 400");
  EXPECT_EQ(status("GET / HTTP/1.1\r\n\r\n"), "HTTP/1.1 400") << "no Host";
  EXPECT_EQ(status("GET nothing HTTP/1.1\r\nHost: x\r\n\r\n"), "HTTP/1.1 400");
  EXPECT_EQ(status("GET / HTTP/1.0\r\nHost: x\r\n\r\n"), "HTTP/1.1 400");
  EXPECT_EQ(status("GET / HTTP/1.1\r\nHost: x\r\nbad line\r\n\r\n"), "HTTP/1.1 400");
  EXPECT_EQ(status("GET / HTTP/1.1\r\nHost : x\r\n\r\n"), "HTTP/1.1 400");
  EXPECT_EQ(status("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: ten\r\n\r\n"), "HTTP/1.1 400");
  EXPECT_EQ(status("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n"),
            "HTTP/1.1 400");
  EXPECT_EQ(status("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n"),
            "HTTP/1.1 400");
  EXPECT_EQ(status("POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: gzip\r\n\r\n"), "HTTP/1.1 400");
  EXPECT_EQ(status("BREW / HTTP/1.1\r\nHost: x\r\n\r\n"), "HTTP/1.1 501");
  EXPECT_EQ(status("GET / HTTP/1.1\r\nHost: x\r\nX: " + std::string(1'100'000, 'x') + "\r\n\r\n"),
            "HTTP/1.1 431");
}

TEST_F(Recording, ReadsChunkedBodies) {
  raw("POST /account/consume HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n"
      "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n");

  EXPECT_EQ(server.requests()[0].body, "abcde");
}

TEST_F(Recording, TakesABodyAfterAskingForIt) {
  RawConnection connection(server.port());
  connection.send(
      "POST /account/consume HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 3\r\n"
      "Connection: close\r\n\r\n");
  EXPECT_EQ(connection.read(25), "HTTP/1.1 100 Continue\r\n\r\n");
  connection.send("abc");

  EXPECT_THAT(connection.readAll(), HasSubstr("HTTP/1.1 200"));
  EXPECT_EQ(server.requests()[0].body, "abc");
}

TEST_F(Recording, BodyThatEndsEarlyIsRecordedAsFarAsItCame) {
  {
    const RawConnection connection(server.port());
    connection.send("POST /account/consume HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n\r\nabc");
  }

  ASSERT_TRUE(server.waitForRequests(Route::consume, 1, limit));
  EXPECT_EQ(server.requests()[0].body, "abc");
  EXPECT_EQ(server.requests()[0].status, 0);
}

TEST_F(Recording, BodyOfAGetDoesNotReachTheNextRequest) {
  const std::string answer =
      raw("GET /avatar/x HTTP/1.1\r\nHost: x\r\nContent-Length: 30\r\n\r\nGET /avatar/y HTTP/1.1\r\n\r\n..");

  EXPECT_THAT(answer, HasSubstr("HTTP/1.1 404"));
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(Recording, PipelinedRequestsAreAnsweredInOrder) {
  const std::string one = "GET /avatar/x HTTP/1.1\r\nHost: x\r\n\r\n";
  const std::string answer =
      raw(one + "\r\n" + "GET /nowhere HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");

  EXPECT_LT(answer.find("no such user"), answer.find("no such address"));
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(Recording, AnswersAreCompressedForClientsThatAsk) {
  for (const std::string codings : {"gzip, deflate", "deflate, gzip, br, zstd"}) {
    const std::string answer = raw("GET /nowhere HTTP/1.1\r\nHost: x\r\nAccept-Encoding: " + codings +
                                   "\r\nConnection: close\r\n\r\n");

    EXPECT_THAT(answer, HasSubstr("Content-Encoding: gzip"));
  }
}

TEST_F(Recording, AnswersAreNotCompressedForOthers) {
  const std::string answer =
      raw("GET /nowhere HTTP/1.1\r\nHost: x\r\nAccept-Encoding: br\r\nConnection: close\r\n\r\n");

  EXPECT_THAT(answer, Not(HasSubstr("Content-Encoding")));
}

}  // namespace
