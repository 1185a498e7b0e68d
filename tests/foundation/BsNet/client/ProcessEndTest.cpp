// What becomes of exchanges when the process ends under them.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "foundation/BsNet/client/TlsServer.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace {

/// Runs the program that starts exchanges on detached threads and returns from main; its exit code.
int exitCodeWith(const std::string& url, const std::string& authority, std::chrono::milliseconds& took) {
  const TemporaryDirectory place;
  const auto start = std::chrono::steady_clock::now();
  ChildProcess program({KBL_LEAVING_PROGRAM, url, authority}, place.file("log"));
  const int code = program.wait();
  took = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  EXPECT_EQ(place.read("log"), "");
  return code;
}

TEST(ProcessEnd, UnderStalledExchangesIsCleanAndSoon) {
  const RawServer server([](RawConnection& connection) {
    RawConnection::Request request;
    (void)connection.readHead(request);
    connection.holdUntilClosed();
  });
  std::chrono::milliseconds took{};

  EXPECT_EQ(exitCodeWith(server.url(), "", took), 0);

  EXPECT_LT(took.count(), 10000);
}

TEST(ProcessEnd, WakesExchangesThatWait) {
  const RawServer server([](RawConnection& connection) {
    RawConnection::Request request;
    (void)connection.readHead(request);
    connection.holdUntilClosed();
  });
  auto shortest = std::chrono::milliseconds::max();
  for (int round = 0; round < 5; ++round) {
    std::chrono::milliseconds took{};
    ASSERT_EQ(exitCodeWith(server.url(), "", took), 0);
    shortest = std::min(shortest, took);
  }

  // Unasked an exchange looks up once a second.
  EXPECT_LT(shortest.count(), 800);
}

TEST(ProcessEnd, UnderTlsExchangesIsCleanEveryTime) {
  TestAuthority authority;
  const TlsServer server(authority.sign("IP:127.0.0.1"));
  for (int round = 0; round < 10; ++round) {
    std::chrono::milliseconds took{};
    ASSERT_EQ(exitCodeWith(server.url(), authority.file(), took), 0) << round;
  }
}

/// What the host with an exit handler in OpenSSL tells at its end.
std::string toldAtTheEnd(const std::string& way) {
  const TemporaryDirectory place;
  TestAuthority authority;
  const TlsServer server(authority.sign("IP:127.0.0.1"));
  ChildProcess program({KBL_EXIT_HANDLER_PROGRAM, way, server.url(), authority.file()}, place.file("log"));
  EXPECT_EQ(program.wait(), 0);
  return place.read("log");
}

TEST(ProcessEnd, LeavesTheHostItsHandlersInTheTlsLibrary) {
  EXPECT_EQ(toldAtTheEnd("load"), "the host's handler\n");
  EXPECT_EQ(toldAtTheEnd("exchange"), "the host's handler\n");
}

// An idle connection ends as its protocol wants it, and not by the system's closing of the process alone.
TEST(ProcessEnd, TakesLeaveOfIdleTlsConnections) {
  const TemporaryDirectory place;
  TestAuthority authority;
  const TlsServer server(authority.sign("IP:127.0.0.1"));
  const std::string url = server.url();
  const int port = std::stoi(url.substr(url.rfind(':') + 1));
  std::atomic<std::size_t> lastPiece{0};
  std::atomic<bool> hasEnded{false};
  const RawServer between([&](RawConnection& client) {
    const auto upstream = connectTo(port);
    std::thread answers([&] {
      for (std::string bytes; !(bytes = upstream->readSome()).empty();) client.send(bytes);
    });
    for (std::string bytes; !(bytes = client.readSome()).empty();) {
      lastPiece = bytes.size();
      upstream->send(bytes);
    }
    upstream->interrupt();
    answers.join();
    hasEnded = true;
  });
  const std::string address = "https" + between.url().substr(4);
  ChildProcess program({KBL_EXIT_HANDLER_PROGRAM, "exchange", address, authority.file()}, place.file("log"));
  ASSERT_EQ(program.wait(), 0);
  ASSERT_TRUE(waitUntil([&] { return hasEnded.load(); }));

  // An alert; the request before it is longer.
  EXPECT_GT(lastPiece, 0U);
  EXPECT_LT(lastPiece, 40U);
}

TEST(ProcessEnd, KeepsAThreadThatComesBackFromTheHostTooLate) {
  EXPECT_EQ(toldAtTheEnd("callback"), "the host's handler\nthe exchange was kept\n");
}

}  // namespace
