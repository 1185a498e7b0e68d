#include "foundation/system/NetworkSystem.h"

#include <fcntl.h>
#include <sys/socket.h>

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

std::string keptAuthorities() {
  return {};
}

}  // namespace KBL::System
