// What becomes of exchanges when the process ends under them.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "foundation/BsNet/client/TlsServer.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

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
  const TlsServer server(authority.sign(loopbackNames));
  for (int round = 0; round < 10; ++round) {
    std::chrono::milliseconds took{};
    ASSERT_EQ(exitCodeWith(server.url(), authority.file(), took), 0) << round;
  }
}

}  // namespace
