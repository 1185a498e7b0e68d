#include "foundation/system/NetworkSystem.h"

#include <fcntl.h>
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

std::string keptAuthorities() {
  return {};
}

}  // namespace KBL::System
