// What a program that is started during an exchange inherits of it.
// winsock2.h comes ahead of windows.h
#include "foundation/BsNet/client/NetClientFixture.h"
#include "sandbox/system/SocketCalls.h"
#include "support/HandlesWindows.h"
#include "support/TemporaryDirectory.h"
#include <BsNet/KblBaseRequest.h>

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <string>

namespace {

/// Whether it is a socket whose other end is that port.
bool leadsTo(HANDLE handle, int port) {
  sockaddr_in peer{};
  int size = sizeof(peer);
  return GetFileType(handle) == FILE_TYPE_PIPE &&
         ::getpeername(reinterpret_cast<SOCKET>(handle), reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
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
    for (const HANDLE handle : handlesIn(place)) {
      ++files;
      if (isInherited(handle)) ++inherited;
    }
    for (const HANDLE handle : ownHandles()) {
      if (!leadsTo(handle, port)) continue;
      ++sockets;
      if (isInherited(handle)) ++inherited;
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
    for (const HANDLE handle : handlesIn(place)) {
      ++files;
      if (isInherited(handle)) ++inherited;
    }
    connection.reply(200);
  });

  const auto request = KBL::makeRef<KBL::KblBaseRequest>();
  ASSERT_EQ(request->download(server.url().c_str(), path.c_str(), nullptr, nullptr), 0);

  EXPECT_EQ(files, 1);
  EXPECT_EQ(inherited, 0);
}

}  // namespace
