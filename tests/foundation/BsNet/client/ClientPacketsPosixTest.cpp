// How the pieces of a body fill packets.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "foundation/BsNet/client/TlsServer.h"
#include <BsNet/IBodySource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <filesystem>
#include <string>
#include <vector>

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::SizeIs;

namespace {

constexpr std::size_t threeMebibytes = 3 << 20;

int portOf(int (*name)(int, sockaddr*, socklen_t*), int socket) {
  sockaddr_in address{};
  socklen_t size = sizeof(address);
  if (name(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return -1;
  return address.sin_family == AF_INET ? ntohs(address.sin_port) : -1;
}

/// Whether the connection of this process to a port waits until a packet is full. -1: there is none.
int isHeldBack(int port) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int socket = std::stoi(entry.path().filename());
    if (portOf(&::getpeername, socket) != port || portOf(&::getsockname, socket) == port) continue;
    int value = -1;
    socklen_t size = sizeof(value);
    if (::getsockopt(socket, IPPROTO_TCP, TCP_CORK, &value, &size) == 0) return value;
  }
  return -1;
}

/// Looks at the connection ahead of each piece.
class Source final : public KBL::IBodySource {
 public:
  explicit Source(int port) : port_(port) {}

  bool readBody(unsigned long long offset, char* buffer, unsigned long long count) override {
    seen.push_back(isHeldBack(port_));
    for (unsigned long long place = 0; place < count; ++place) buffer[place] = letterAt(offset + place);
    return true;
  }

  static char letterAt(unsigned long long place) { return static_cast<char>('a' + place % 23); }

  std::vector<int> seen;

 private:
  const int port_;
};

KBL::NetReply put(KBL::INetworkClient& client, const std::string& url, Source& source, std::size_t size) {
  KBL::bodySourceClient(&client)->setBodySource(&source, size);
  return perform(client, url, KBL::httpPut);
}

class ClientPackets : public testing::Test {
 protected:
  TestAuthority authority;
  const TlsServer server{authority.sign(loopbackNames)};
  const ScopedNetSettings settings{{.extraCaFile = authority.file()}};
  Source source{server.port()};
};

TEST_F(ClientPackets, AreFilledOverTlsOnceTheServerIsKnown) {
  const auto client = newClient();
  ASSERT_EQ(perform(*client, server.url(), KBL::httpGet).content, "secure");

  EXPECT_EQ(put(*client, server.url(), source, threeMebibytes).content, std::to_string(threeMebibytes));

  ASSERT_THAT(source.seen, SizeIs(testing::Ge(4U)));
  EXPECT_EQ(source.seen.front(), 0);
  source.seen.erase(source.seen.begin());
  EXPECT_THAT(source.seen, Each(1));
  EXPECT_EQ(isHeldBack(server.port()), 0);
}

TEST_F(ClientPackets, OfTheNextBodyBeginAtOnceAgain) {
  const auto client = newClient();
  ASSERT_EQ(perform(*client, server.url(), KBL::httpGet).content, "secure");
  ASSERT_EQ(put(*client, server.url(), source, threeMebibytes).httpCode, 200);
  source.seen.clear();

  EXPECT_EQ(put(*client, server.url(), source, 1000).content, "1000");

  EXPECT_THAT(source.seen, AllOf(SizeIs(1), Each(0)));
  EXPECT_EQ(isHeldBack(server.port()), 0);
}

TEST_F(ClientPackets, AreNotWaitedForWhereTheServerIsNotKnown) {
  const auto client = newClient();

  EXPECT_EQ(put(*client, server.url(), source, threeMebibytes).httpCode, 200);

  EXPECT_THAT(source.seen, AllOf(SizeIs(testing::Ge(4U)), Each(0)));
}

TEST_F(ClientPackets, AreFilledForTheNextClientToo) {
  ASSERT_EQ(perform(*newClient(), server.url(), KBL::httpGet).content, "secure");

  EXPECT_EQ(put(*newClient(), server.url(), source, threeMebibytes).httpCode, 200);

  EXPECT_THAT(source.seen, Contains(1));
}

TEST_F(ClientPackets, AreLeftToLibcurlWithoutTls) {
  const KeepingServer plain;
  Source watched(plain.port());
  const auto client = newClient();
  ASSERT_EQ(perform(*client, plain.url(), KBL::httpGet).httpCode, 200);

  EXPECT_EQ(put(*client, plain.url(), watched, threeMebibytes).httpCode, 200);

  EXPECT_THAT(watched.seen, AllOf(SizeIs(testing::Ge(4U)), Each(0)));
}

}  // namespace
