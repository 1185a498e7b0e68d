// That an exchange which waits ends in time.
#include "foundation/BsNet/client/NetClientFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

namespace {

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
