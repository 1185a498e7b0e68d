// What a program that is started during an exchange inherits of it.
// winsock2.h comes ahead of windows.h
#include "foundation/BsNet/client/NetClientFixture.h"
#include "sandbox/system/SocketCalls.h"
#include "support/TemporaryDirectory.h"
#include <BsNet/KblBaseRequest.h>

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace {

bool isInherited(HANDLE handle) {
  DWORD flags = 0;
  return GetHandleInformation(handle, &flags) != 0 && (flags & HANDLE_FLAG_INHERIT) != 0;
}

/// This process's handles, which are small multiples of four.
std::vector<HANDLE> handles() {
  std::vector<HANDLE> found;
  for (std::uintptr_t number = 4; number < 0x4000; number += 4) {
    const auto handle = reinterpret_cast<HANDLE>(number);
    DWORD flags = 0;
    if (GetHandleInformation(handle, &flags) != 0) found.push_back(handle);
  }
  return found;
}

/// Whether the handle is of a file in that folder, which no other has the name of.
bool isFileIn(HANDLE handle, const TemporaryDirectory& folder) {
  if (GetFileType(handle) != FILE_TYPE_DISK) return false;
  std::wstring name(32768, L'\0');
  const DWORD size =
      GetFinalPathNameByHandleW(handle, name.data(), static_cast<DWORD>(name.size()), FILE_NAME_NORMALIZED);
  name.resize((std::min)(static_cast<std::size_t>(size), name.size()));
  return std::filesystem::path(name).parent_path().filename() == folder.path().filename();
}

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
    for (const HANDLE handle : handles()) {
      const bool isFile = isFileIn(handle, place);
      const bool isSocket = leadsTo(handle, port);
      if (isFile) ++files;
      if (isSocket) ++sockets;
      if ((isFile || isSocket) && isInherited(handle)) ++inherited;
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
    for (const HANDLE handle : handles()) {
      if (!isFileIn(handle, place)) continue;
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
