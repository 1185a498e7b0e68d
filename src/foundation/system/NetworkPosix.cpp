#include "foundation/system/NetworkSystem.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace KBL::System {

curl_socket_t openOwnSocket(void*, curlsocktype, curl_sockaddr* address) {
#if defined(SOCK_CLOEXEC)
  return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
#else
  const curl_socket_t handle = ::socket(address->family, address->socktype, address->protocol);
  if (handle >= 0) (void)::fcntl(handle, F_SETFD, FD_CLOEXEC);
  return handle;
#endif
}

int closeSocket(curl_socket_t socket) {
  return ::close(socket);
}

bool isQuiet(curl_socket_t socket) {
  char byte = 0;
  return ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && errno == EAGAIN;
}

int localPort(curl_socket_t socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof(address);
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
  if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
  return 0;
}

void holdBack([[maybe_unused]] curl_socket_t socket, [[maybe_unused]] bool isHeldBack) {
#ifdef TCP_CORK
  const int value = isHeldBack ? 1 : 0;
  (void)::setsockopt(socket, IPPROTO_TCP, TCP_CORK, &value, sizeof(value));
#endif
}

std::string keptAuthorities() {
  return {};
}

}  // namespace KBL::System
