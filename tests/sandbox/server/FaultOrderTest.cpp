#include "sandbox/server/FaultFixture.h"

#include <gmock/gmock.h>

#include <future>

namespace {

using sandbox::Fault;
using sandbox::FaultId;
using sandbox::Route;
using std::chrono::milliseconds;

constexpr std::chrono::seconds limit{30};

using FaultOrders = FaultFixture;

TEST_F(FaultOrders, StrikeTheNthRequestAndNoOther) {
  const FaultId id = order(Fault::status(503), 2);

  EXPECT_EQ(ask().status, 200);
  EXPECT_EQ(server.faultsDelivered(id), 0U);
  EXPECT_EQ(server.faultsOutstanding(), 1U);
  EXPECT_EQ(ask().status, 503);
  EXPECT_EQ(ask().status, 200);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
  EXPECT_EQ(server.faultsDelivered(), 1U);
  EXPECT_EQ(server.faultsOutstanding(), 0U);
}

TEST_F(FaultOrders, StrikeSeveralTimesOrAlways) {
  order(Fault::status(500), 1, 2);
  EXPECT_EQ(ask().status, 500);
  EXPECT_EQ(ask().status, 500);
  EXPECT_EQ(ask().status, 200);

  const FaultId always = order(Fault::status(501), 1, 0);
  EXPECT_EQ(server.faultsOutstanding(), 1U);
  for (int time = 0; time < 5; ++time) EXPECT_EQ(ask().status, 501);
  EXPECT_EQ(server.faultsDelivered(always), 5U);
  EXPECT_EQ(server.faultsOutstanding(), 0U);
  server.clearFaults();
  EXPECT_EQ(ask().status, 200);
}

TEST_F(FaultOrders, MeetingOnOneRequestComeOneAfterTheOther) {
  order(Fault::status(500));
  order(Fault::status(501));

  EXPECT_EQ(ask().status, 500);
  EXPECT_EQ(ask().status, 501);
  EXPECT_EQ(ask().status, 200);
}

TEST_F(FaultOrders, LeaveOtherRoutesAlone) {
  const FaultId id = server.orderFault(Route::youtubeCategories, Fault::status(500));

  EXPECT_EQ(ask().status, 200);
  EXPECT_EQ(server.faultsDelivered(id), 0U);
}

TEST_F(FaultOrders, AreNotedAtTheRequestTheyStruck) {
  const FaultId id = order(Fault::status(418));

  ask();

  const auto requests = server.requests(Route::googleUserInfo);
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].fault, id);
  EXPECT_EQ(requests[0].status, 418);
}

TEST_F(FaultOrders, CanBeWaitedFor) {
  const FaultId id = order(Fault::status(500));
  auto asked = std::async(std::launch::async, [&] { return TestClient(server).get(target); });

  EXPECT_TRUE(server.waitForFaults(id, 1, limit));
  EXPECT_FALSE(server.waitForFaults(id, 2, milliseconds(0)));
  EXPECT_EQ(asked.get().status, 500);
}

TEST_F(FaultOrders, ConnectionServesOnAfterAFaultThatLeavesItWhole) {
  const std::size_t before = server.connectionCount();
  ask();
  for (const Fault& fault : {Fault::status(500), Fault::brokenJson(), Fault::gzip(), Fault::hugeBody(100'000),
                             Fault::trickle(100, milliseconds(1)), Fault::deepNesting(10)}) {
    order(fault);
    EXPECT_TRUE(ask().arrived);
    EXPECT_EQ(ask().status, 200);
  }
  EXPECT_EQ(server.connectionCount(), before + 1);
}

}  // namespace
