// How seldom an exchange wakes that waits, and that it ends in time all the same.
#include "foundation/BsNet/client/NetClientFixture.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>

namespace {

/// How often the calling thread went to sleep.
long waits() {
  rusage used{};
  (void)::getrusage(RUSAGE_THREAD, &used);
  return used.ru_nvcsw;
}

TEST(ClientWait, ExchangeThatNobodyAsksAboutSleeps) {
  const RawServer server([](RawConnection& connection) {
    RawConnection::Request request;
    (void)connection.readRequest(request);
    connection.holdUntilClosed();
  });
  const auto client = newClient();
  client->setTotalTimeout(2000);
  const long before = waits();

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).resultCode, 28);

  EXPECT_LT(waits() - before, 20);
}

TEST(ClientWait, StandstillOfALargeBodyIsNoticedInTime) {
  const RawServer server([](RawConnection& connection) {
    RawConnection::Request request;
    (void)connection.readHead(request);
    connection.holdUntilClosed();
  });
  const auto client = newClient();
  client->setTotalTimeout(300);
  client->setBody(std::string(16 << 20, 'b'));
  auto shortest = std::chrono::steady_clock::duration::max();
  for (int round = 0; round < 3; ++round) {
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(perform(*client, server.url(), KBL::httpPut).resultCode, 28);
    shortest = std::min(shortest, std::chrono::steady_clock::now() - begun);
  }

  EXPECT_LT(shortest, std::chrono::milliseconds(900));
}

}  // namespace
