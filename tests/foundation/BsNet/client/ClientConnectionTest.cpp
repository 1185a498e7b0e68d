// How the network client bears stalls and stops.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "support/RecordingLogger.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

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
      const std::string bytes = connection.read(std::min<std::size_t>(left, 128 << 10));
      if (bytes.empty()) return;
      left -= bytes.size();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    took = millisecondsSince(start);
    connection.reply(200);
  });
  const auto client = newClient();
  client->setTotalTimeout(3000);
  client->setBody(std::string(24 << 20, 'b'));

  const auto reply = perform(*client, server.url(), KBL::httpPut);

  EXPECT_EQ(reply.httpCode, 200) << reply.errorMessage;
  EXPECT_GT(took, 3000);
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

TEST(ClientConnection, ProgressTellsTheCountsOfBothDirections) {
  std::atomic<bool> isToldInPart{false};
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    if (!connection.readRequest(request)) return;
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n" + std::string(3000, 'r'));
    EXPECT_TRUE(waitUntil([&] { return isToldInPart.load(); }));
    connection.send(std::string(2000, 'r'));
  });
  const auto client = newClient();
  client->setBody(std::string(3000000, 'b'));
  Progress progress([&](long long, long long received) {
    if (received == 3000) isToldInPart = true;
    return true;
  });

  EXPECT_EQ(perform(*client, server.url(), KBL::httpPut, &progress).httpCode, 200);

  EXPECT_EQ(progress.lastUploaded, 3000000);
  EXPECT_EQ(progress.lastUploadTotal, 3000000);
  EXPECT_EQ(progress.lastDownloaded, 3000);
  EXPECT_EQ(progress.lastDownloadTotal, 5000);
}

TEST(ClientConnection, NobodyIsAskedAboutACompleteReply) {
  const KeepingServer server("complete");
  const auto client = newClient();
  client->setBody("body");
  Progress progress([](long long, long long received) { return received != 8; });

  for (int round = 0; round < 20; ++round) {
    const auto reply = perform(*client, server.url(), KBL::httpPut, &progress);
    ASSERT_EQ(reply.resultCode, 0) << reply.errorMessage;
    ASSERT_EQ(reply.content, "complete");
  }
}

TEST(ClientConnection, ProgressThatThrowsCountsAsOneThatReturned) {
  const KeepingServer server("body");
  const ScopedRecordingLogger log;
  const auto client = newClient();
  Progress thrower([](long long, long long) -> bool { throw std::runtime_error("host"); });

  const auto reply = perform(*client, server.url(), KBL::httpGet, &thrower);

  EXPECT_EQ(reply.resultCode, 0);
  EXPECT_EQ(reply.content, "body");
  EXPECT_GE(thrower.calls, 1);
  ASSERT_EQ(static_cast<int>(log->lines().size()), thrower.calls);
  EXPECT_EQ(log->lines()[0].text, "a progress callback threw");
  EXPECT_EQ(log->lines()[0].severity, 2);
}

TEST(ClientConnection, AnnouncementThatThrowsCountsAsOneThatReturned) {
  const KeepingServer server("body");
  const ScopedRecordingLogger log;
  const auto client = newClient();
  Progress thrower;
  thrower.throwsAtStart = true;

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet, &thrower).content, "body");

  ASSERT_EQ(log->lines().size(), 1U);
  EXPECT_EQ(log->lines()[0].text, "a progress callback threw");
  EXPECT_EQ(log->lines()[0].severity, 2);
}

// What a connection may take is less than what the exchange may. A listener whose queue is full answers
// nobody.
TEST(ClientConnection, ConnectingHasALimitOfItsOwn) {
  const FullListener listener;
  const ScopedNetSettings settings({.extraCaFile = {}, .maxReplyBytes = 1000, .connectTimeoutMs = 30000});
  const auto client = newClient();
  constexpr std::chrono::seconds whole(60);
  client->setConnectTimeout(200);
  client->setTotalTimeout(static_cast<int>(std::chrono::milliseconds(whole).count()));
  const auto begun = std::chrono::steady_clock::now();

  const auto reply = perform(*client, listener.url(), KBL::httpGet);

  EXPECT_EQ(reply.resultCode, 28) << reply.errorMessage;
  EXPECT_LT(std::chrono::steady_clock::now() - begun, whole / 3);
}

TEST(ClientConnection, WriterThatThrowsRefusesTheReply) {
  class Thrower : public KBL::IBsResponseWriteCallback {
   public:
    bool onResponseData(const char*, unsigned long long, void*) override { throw std::runtime_error("host"); }
  };
  const KeepingServer server("body");
  const ScopedRecordingLogger log;
  const auto client = newClient();
  Thrower thrower;

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet, nullptr, &thrower).resultCode, 23);

  EXPECT_EQ(log->linesWith("threw").size(), 1U);
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
  EXPECT_LE(server.connections(), 8 * 5);
}

TEST(ClientConnection, NameThatNobodyKnowsIsATransportFailure) {
  const auto client = newClient();
  client->setTotalTimeout(5000);

  const auto reply = perform(*client, "http://no-such-host.invalid/", KBL::httpGet);

  EXPECT_THAT(reply.resultCode, testing::AnyOf(6, 28));
}

}  // namespace
