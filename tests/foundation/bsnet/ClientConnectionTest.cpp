// How the network client bears resets, stalls and stops.
#include "foundation/bsnet/NetClientTest.h"
#include "support/Seed.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

using Clock = std::chrono::steady_clock;

namespace {

std::string patterned(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 2654435761U) >> 13);
  return bytes;
}

long long millisecondsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

/// Answers the first request of the first connection, resets it within the second request's body, and keeps
/// what comes on the next connection.
class ResettingServer {
 public:
  explicit ResettingServer(std::size_t bytesBeforeReset)
      : server_([this, bytesBeforeReset](RawConnection& connection) {
          RawConnection::Request request;
          if (connection.number == 1) {
            if (!connection.readRequest(request)) return;
            connection.reply(200);
            if (!connection.readHead(request)) return;
            (void)connection.read(bytesBeforeReset);
            connection.reset();
            return;
          }
          while (connection.readRequest(request)) {
            {
              const std::lock_guard lock(mutex_);
              repeated_ = request.body;
            }
            connection.reply(200, "repeated");
          }
        }) {}

  [[nodiscard]] std::string url() const { return server_.url(); }
  [[nodiscard]] int connections() const { return server_.connections(); }
  [[nodiscard]] std::string repeated() const {
    const std::lock_guard lock(mutex_);
    return repeated_;
  }

 private:
  mutable std::mutex mutex_;
  std::string repeated_;
  RawServer server_;
};

class ResetInBody : public testing::TestWithParam<std::tuple<int, std::size_t>> {};

TEST_P(ResetInBody, OnAReusedConnectionSendsTheWholeBodyAgainOrFails) {
  const auto [method, bytesBeforeReset] = GetParam();
  const ResettingServer server(bytesBeforeReset);
  const auto client = newClient();
  client->setTotalTimeout(20000);
  client->setBody("small");
  ASSERT_EQ(perform(*client, server.url(), method).httpCode, 200);
  const std::string body = patterned(4 << 20);
  client->setBody(body);
  const auto start = Clock::now();

  const auto reply = perform(*client, server.url(), method);

  EXPECT_LT(millisecondsSince(start), 15000);
  if (reply.resultCode == 0) {
    EXPECT_EQ(reply.content, "repeated");
    EXPECT_TRUE(server.repeated() == body);
  } else {
    EXPECT_NE(reply.errorMessage, "");
  }
  EXPECT_EQ(perform(*client, server.url(), method).content, "repeated");
  EXPECT_TRUE(server.repeated() == body);
}

INSTANTIATE_TEST_SUITE_P(Client, ResetInBody,
                         testing::Combine(testing::Values(int{KBL::httpPost}, int{KBL::httpPut}),
                                          testing::Values(0, 1, 65536, 300000, 1 << 20, 3 << 20)));

TEST(ClientConnection, ResetWithinAFormOnAReusedConnectionSendsTheWholeFileAgainOrFails) {
  const TemporaryDirectory place;
  const std::string contents = patterned(4 << 20);
  const std::string path = place.write("video", contents);
  for (const std::size_t bytes : {0U, 65536U, 2U << 20}) {
    const ResettingServer server(bytes);
    const auto client = newClient();
    client->setTotalTimeout(20000);
    ASSERT_EQ(perform(*client, server.url(), KBL::httpPost).httpCode, 200);
    client->setUploadSource({{"video", path}});

    const auto reply = perform(*client, server.url(), KBL::httpPost);

    const bool isWhole = server.repeated().find(contents) != std::string::npos;
    EXPECT_TRUE(isWhole || reply.resultCode != 0) << bytes;
    EXPECT_EQ(perform(*client, server.url(), KBL::httpPost).content, "repeated");
    EXPECT_NE(server.repeated().find(contents), std::string::npos);
  }
}

TEST(ClientConnection, ConnectionThatTheServerClosedMeanwhileIsReplaced) {
  std::atomic<int> closed{0};
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    if (connection.readRequest(request)) connection.reply(200, request.body);
    connection.reset();
    ++closed;
  });
  const auto client = newClient();
  for (int i = 1; i <= 3; ++i) {
    client->setBody(std::to_string(i));
    const auto reply = perform(*client, server.url(), KBL::httpPost);
    EXPECT_EQ(reply.content, std::to_string(i)) << reply.errorMessage;
    ASSERT_TRUE(waitUntil([&] { return closed == i; }));
  }

  EXPECT_EQ(server.connections(), 3);
}

TEST(ClientConnection, EarlyRefusalOfALargeBodyIsReadAsItsStatus) {
  const RawServer server([](RawConnection& connection) {
    RawConnection::Request request;
    if (!connection.readHead(request)) return;
    connection.send("HTTP/1.1 413 Too Large\r\nContent-Length: 3\r\nConnection: close\r\n\r\nbig");
    connection.waitForClose();
  });
  const auto client = newClient();
  client->setBody(patterned(8 << 20));

  const auto reply = perform(*client, server.url(), KBL::httpPut);

  EXPECT_EQ(reply.httpCode, 413) << reply.errorMessage;
  EXPECT_EQ(reply.content, "big");
}

/// Takes the head of a request and nothing more; then waits for the end.
RawServer::Serve stallAfterHead() {
  return [](RawConnection& connection) {
    RawConnection::Request request;
    (void)connection.readHead(request);
    connection.holdUntilClosed();
  };
}

TEST(ClientConnection, TotalTimeIsALimitForSmallBodies) {
  const RawServer server([](RawConnection& connection) {
    RawConnection::Request request;
    if (!connection.readRequest(request)) return;
    // A reply that never stands still for long and never ends.
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
    while (connection.send("x")) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  });
  const auto client = newClient();
  client->setTotalTimeout(400);
  client->setBody(std::string(1 << 20, 'b'));
  const auto start = Clock::now();

  const auto reply = perform(*client, server.url(), KBL::httpPost);

  EXPECT_EQ(reply.resultCode, 28);
  EXPECT_EQ(reply.httpCode, -1);
  EXPECT_GE(millisecondsSince(start), 390);  // libcurl rounds
  EXPECT_LT(millisecondsSince(start), 10000);
}

TEST(ClientConnection, LargeBodyMayTakeLongerThanTheTotalTimeWhileItMoves) {
  std::atomic<long long> took{0};
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    if (!connection.readHead(request)) return;
    const auto start = Clock::now();
    std::size_t left = std::stoull(request.headers.at("content-length"));
    while (left > 0) {
      const std::string bytes = connection.read(std::min<std::size_t>(left, 256 << 10));
      if (bytes.empty()) return;
      left -= bytes.size();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    took = millisecondsSince(start);
    connection.reply(200);
  });
  const auto client = newClient();
  client->setTotalTimeout(1000);
  client->setBody(std::string(24 << 20, 'b'));

  const auto reply = perform(*client, server.url(), KBL::httpPut);

  EXPECT_EQ(reply.httpCode, 200) << reply.errorMessage;
  EXPECT_GT(took, 1000);
}

TEST(ClientConnection, LargeBodyThatStandsStillEndsAfterTheTotalTime) {
  const RawServer server(stallAfterHead());
  const auto client = newClient();
  client->setTotalTimeout(300);
  client->setBody(std::string(32 << 20, 'b'));
  const auto start = Clock::now();

  const auto reply = perform(*client, server.url(), KBL::httpPut);

  EXPECT_EQ(reply.resultCode, 28);
  EXPECT_EQ(reply.errorMessage, "no byte moved for 300 ms");
  EXPECT_GE(millisecondsSince(start), 300);
  EXPECT_LT(millisecondsSince(start), 10000);
}

TEST(ClientConnection, LargeFormThatStandsStillEndsAfterTheTotalTime) {
  const TemporaryDirectory place;
  const RawServer server(stallAfterHead());
  const auto client = newClient();
  client->setTotalTimeout(300);
  client->setUploadSource({{"video", place.write("video", std::string(32 << 20, 'b'))}});

  EXPECT_EQ(perform(*client, server.url(), KBL::httpPost).resultCode, 28);
}

TEST(ClientConnection, LowSpeedEndsAnExchangeThatCrawls) {
  const RawServer server(stallAfterHead());
  const auto client = newClient();
  client->setLowSpeed(1000, 1);
  const auto start = Clock::now();

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).resultCode, 28);

  EXPECT_LT(millisecondsSince(start), 15000);
}

class StopOf : public testing::TestWithParam<int> {
 protected:
  /// Milliseconds from the wish to stop, once the exchange has stood still for a while, to the end of
  /// perform.
  static long long stopTime(KBL::INetworkClient& client, const std::string& url, int method) {
    std::atomic<bool> stop{false};
    std::atomic<int> asked{0};
    Progress progress([&](long long, long long) {
      ++asked;
      return !stop;
    });
    Clock::time_point wished;
    std::thread stopper([&] {
      EXPECT_TRUE(waitUntil([&] { return asked > 30; }));
      wished = Clock::now();
      stop = true;
    });
    const auto reply = perform(client, url, method, &progress);
    const auto ended = Clock::now();
    stopper.join();
    EXPECT_EQ(reply.resultCode, -10007);
    EXPECT_EQ(reply.errorMessage, "User cancelled!");
    EXPECT_EQ(reply.httpCode, -1);
    return std::chrono::duration_cast<std::chrono::milliseconds>(ended - wished).count();
  }
};

TEST_P(StopOf, AStalledExchangeTakesLessThan100Milliseconds) {
  const RawServer server(stallAfterHead());
  const auto client = newClient();
  client->setBody(std::string(16 << 20, 'b'));

  // The middle one of three: a loaded machine may hold up any single one.
  std::vector<long long> times;
  for (int i = 0; i < 3; ++i) times.push_back(stopTime(*client, server.url(), GetParam()));
  std::sort(times.begin(), times.end());

  EXPECT_LT(times[1], 100);
}

INSTANTIATE_TEST_SUITE_P(Client, StopOf, testing::Values(KBL::httpGet, KBL::httpPost, KBL::httpPut));

TEST(ClientConnection, StopAtTheFirstAskingMakesNoConnection) {
  const KeepingServer server;
  Progress progress([](long long, long long) { return false; });
  const auto client = newClient();

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet, &progress).resultCode, -10007);

  EXPECT_EQ(server.connections(), 0);
  EXPECT_EQ(progress.calls, 1);
}

TEST(ClientConnection, StopWhenTheReplyStartsEndsTheExchange) {
  const KeepingServer server("body");
  Progress progress;
  progress.goesOnAfterStart = false;
  const auto client = newClient();

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet, &progress).resultCode, -10007);

  EXPECT_EQ(progress.started, std::vector<int>{200});
}

TEST(ClientConnection, ClientWorksOnAfterAStopAndAFailure) {
  const KeepingServer server("body");
  const RawServer stalling(stallAfterHead());
  const auto client = newClient();
  Progress stopAtOnce([](long long, long long) { return false; });
  perform(*client, server.url(), KBL::httpGet, &stopAtOnce);
  client->setTotalTimeout(50);
  EXPECT_EQ(perform(*client, stalling.url(), KBL::httpGet).resultCode, 28);
  client->setTotalTimeout(0);

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).content, "body");
}

TEST(ClientConnection, ProgressTellsTheLastCountsOfBothDirections) {
  const KeepingServer server(std::string(200000, 'r'));
  const auto client = newClient();
  client->setBody(std::string(3000000, 'b'));
  Progress progress;

  EXPECT_EQ(perform(*client, server.url(), KBL::httpPut, &progress).httpCode, 200);

  EXPECT_EQ(progress.lastUploaded, 3000000);
  EXPECT_EQ(progress.lastUploadTotal, 3000000);
  EXPECT_EQ(progress.lastDownloaded, 200000);
  EXPECT_EQ(progress.lastDownloadTotal, 200000);
  EXPECT_GE(progress.calls, 2);
}

TEST(ClientConnection, CallbackThatThrowsEndsTheExchangeAndNothingElse) {
  const KeepingServer server("body");
  const auto client = newClient();
  Progress thrower([](long long, long long) -> bool { throw std::runtime_error("host"); });

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet, &thrower).resultCode, 27);

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).content, "body");
}

TEST(ClientConnection, ManyClientsWorkAtOnce) {
  const KeepingServer server("body");
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 5; ++round) {
        const auto client = newClient();
        for (int exchange = 0; exchange < 4; ++exchange) {
          if (perform(*client, server.url(), KBL::httpGet).content == "body") ++good;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(good, 8 * 5 * 4);
  EXPECT_EQ(server.connections(), 8 * 5);
}

TEST(ClientConnection, NameThatNobodyKnowsIsATransportFailure) {
  const auto client = newClient();
  client->setTotalTimeout(5000);

  const auto reply = perform(*client, "http://no-such-host.invalid/", KBL::httpGet);

  EXPECT_THAT(reply.resultCode, testing::AnyOf(6, 28));
}

TEST(ClientConnection, ResetsAtAnyInstantLeaveNoHalfBodyAndNoHang) {
  auto random = seededGenerator();
  std::mutex mutex;
  std::string last;
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    unsigned pause = 0;
    if (!connection.readRequest(request)) return;
    {
      const std::lock_guard lock(mutex);
      last = request.body;
      pause = static_cast<unsigned>(random() % 400);
    }
    connection.reply(200);
    std::this_thread::sleep_for(std::chrono::microseconds(pause));
    connection.reset();
  });
  const auto client = newClient();
  client->setTotalTimeout(5000);
  int repeated = 0;
  for (int round = 0; round < 400; ++round) {
    const std::string body = patterned(300000 + static_cast<std::size_t>(round) * 1000);
    client->setBody(body);
    const auto start = Clock::now();
    const auto reply = perform(*client, server.url(), round % 2 == 0 ? KBL::httpPut : KBL::httpPost);
    ASSERT_LT(millisecondsSince(start), 4000) << round;
    if (reply.resultCode != 0) continue;
    ++repeated;
    const std::lock_guard lock(mutex);
    ASSERT_TRUE(last == body) << round;
  }

  EXPECT_GT(repeated, 0);
}

}  // namespace
