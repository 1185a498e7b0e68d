// How seldom an exchange wakes that waits.
#include "foundation/BsNet/client/NetClientFixture.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

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

}  // namespace
