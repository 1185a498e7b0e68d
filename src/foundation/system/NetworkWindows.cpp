#include "foundation/TextForAWhile.h"
#include "foundation/system/AuthoritiesWindows.h"
#include "foundation/system/NetworkSystem.h"

// The order matters: winsock2.h goes ahead of windows.h, and the other needs what that declares.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <wincrypt.h>
// clang-format on

#include <chrono>
#include <memory>
#include <string>

namespace KBL::System {
namespace {

struct CloseStore {
  void operator()(void* store) const { CertCloseStore(store, 0); }
};
using Store = std::unique_ptr<void, CloseStore>;

std::string readAuthorities() {
  const Store authorities(CertOpenSystemStoreW(0, L"ROOT"));
  const Store distrusted(CertOpenSystemStoreW(0, L"Disallowed"));
  return authoritiesForServers(authorities.get(), distrusted.get());
}

}  // namespace

curl_socket_t openOwnSocket(void*, curlsocktype, curl_sockaddr* address) {
  return WSASocketW(address->family, address->socktype, address->protocol, nullptr, 0,
                    WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
}

int closeSocket(curl_socket_t socket) {
  return closesocket(socket);
}

bool isQuiet(curl_socket_t socket) {
  char byte = 0;
  return recv(socket, &byte, 1, MSG_PEEK) < 0 && WSAGetLastError() == WSAEWOULDBLOCK;
}

int localPort(curl_socket_t socket) {
  sockaddr_storage address{};
  int size = sizeof(address);
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
  if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
  return 0;
}

void holdBack(curl_socket_t, bool) {}

// Each client with a further file asks, and some hundred certificates are read for the answer.
std::string keptAuthorities() {
  constexpr std::chrono::minutes time(5);
  // Workers make clients while the process ends.
  static TextForAWhile& text = *new TextForAWhile(&readAuthorities, time);
  return text.at(TextForAWhile::Clock::now());
}

}  // namespace KBL::System
