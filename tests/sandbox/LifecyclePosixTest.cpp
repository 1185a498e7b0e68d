// What the sandbox makes of POSIX systems' signals.
#include "sandbox/RawConnection.h"
#include "sandbox/Sandbox.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>

namespace {

using sandbox::Fault;
using sandbox::FaultId;
using sandbox::Route;
using sandbox::Sandbox;

TEST(Lifecycle, BrokenPipesKeepTheHandlingOfTheProcess) {
  const auto former = std::signal(SIGPIPE, SIG_DFL);
  {
    Sandbox server;
    server.setListening(false);
    server.setListening(true);
    const auto found = std::signal(SIGPIPE, SIG_DFL);
    EXPECT_EQ(found, SIG_DFL);

    // The sandbox itself does not die of a client that goes away.
    const FaultId id = server.orderFault(Route::avatar, Fault::hugeBody(std::uint64_t{1} << 40));
    RawConnection connection(server.port());
    connection.send("GET /avatar/x HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_EQ(connection.read(1000).size(), 1000U);
    EXPECT_EQ(server.faultsDelivered(id), 1U);
  }
  (void)std::signal(SIGPIPE, former);
}

}  // namespace
