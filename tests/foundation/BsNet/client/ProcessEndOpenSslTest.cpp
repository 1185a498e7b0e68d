// What becomes of OpenSSL and of its users when the process ends.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "foundation/BsNet/client/TlsServer.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace {

/// What the host with an exit handler in OpenSSL tells at its end.
std::string toldAtTheEnd(const std::string& way) {
  const TemporaryDirectory place;
  TestAuthority authority;
  const TlsServer server(authority.sign(loopbackNames));
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
  const TlsServer server(authority.sign(loopbackNames));
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
