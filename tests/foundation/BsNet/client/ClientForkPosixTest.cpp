// What becomes of kept connections in a process that forks.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

TEST(ClientFork, AForkedChildDoesNotInheritConnections) {
  const ScopedNetSettings settings{KBL::NetSettings{}};  // what another test has left idle counts, too
  const KeepingServer server;
  const TemporaryDirectory place;
  ChildProcess program({KBL_FORKING_PROGRAM, server.url()}, place.file("log"));

  EXPECT_EQ(program.wait(), 0) << place.read("log");

  EXPECT_EQ(server.requests().size(), 3U);
  EXPECT_GE(server.connections(), 2);  // three where the child takes its time
}
