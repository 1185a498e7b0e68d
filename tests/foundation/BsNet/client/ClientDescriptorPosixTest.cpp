// What a program that is started during an exchange inherits of it.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "support/TemporaryDirectory.h"
#include <BsNet/KblBaseRequest.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <filesystem>
#include <map>
#include <string>

namespace {

bool isInherited(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFD);
  return flags >= 0 && (flags & FD_CLOEXEC) == 0;
}

/// This process's descriptors, each with what it stands for.
std::map<int, std::string> descriptors() {
  std::map<int, std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const auto target = std::filesystem::read_symlink(entry.path(), gone);
    if (!gone) found[std::stoi(entry.path().filename())] = target.string();
  }
  return found;
}

/// Whether a socket's other end is that port.
bool leadsTo(int socket, int port) {
  sockaddr_in peer{};
  socklen_t size = sizeof(peer);
  return ::getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
         peer.sin_port == htons(static_cast<std::uint16_t>(port));
}

TEST(ClientDescriptors, FileOfAFormAndSocketStayWithTheProcess) {
  const TemporaryDirectory place;
  const std::string path = place.write("video", std::string(8 << 20, 'v'));
  int files = 0;
  int sockets = 0;
  int inherited = 0;
  int port = 0;
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    if (!connection.readHead(request)) return;
    for (const auto& [number, target] : descriptors()) {
      if (target == path) ++files;
      if (leadsTo(number, port)) ++sockets;
      if ((target == path || leadsTo(number, port)) && isInherited(number)) ++inherited;
    }
    (void)connection.read(std::stoul(request.headers.at("content-length")));
    connection.reply(200);
  });
  port = server.port();
  const auto client = newClient();
  client->setUploadSource({{"video", path}});

  ASSERT_EQ(perform(*client, server.url(), KBL::httpPost).httpCode, 200);

  EXPECT_EQ(files, 1);
  EXPECT_EQ(sockets, 1);
  EXPECT_EQ(inherited, 0);
}

TEST(ClientDescriptors, FileOfADownloadStaysWithTheProcess) {
  const TemporaryDirectory place;
  const std::string path = place.file("video");
  int files = 0;
  int inherited = 0;
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    if (!connection.readHead(request)) return;
    for (const auto& [number, target] : descriptors()) {
      if (!target.starts_with(path)) continue;
      ++files;
      if (isInherited(number)) ++inherited;
    }
    connection.reply(200);
  });

  const auto request = KBL::makeRef<KBL::KblBaseRequest>();
  ASSERT_EQ(request->download(server.url().c_str(), path.c_str(), nullptr, nullptr), 0);

  EXPECT_EQ(files, 1);
  EXPECT_EQ(inherited, 0);
}

}  // namespace
