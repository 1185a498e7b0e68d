#include "support/SocketSystem.h"

#include <fcntl.h>
#include <poll.h>

#include <cerrno>

namespace sockets {

Handle accept(Handle listener) {
  return ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
}

void stopAccepting(Handle listener) {
  ::shutdown(listener, SHUT_RDWR);
}

void setPatience(Handle handle, std::chrono::seconds patience) {
  const timeval limit{patience.count(), 0};
  ::setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  ::setsockopt(handle, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
}

void waitForPeerEnd(Handle handle, const std::atomic<bool>&, std::chrono::milliseconds limit) {
  // The peer's end shows as a half close or an error, which poll tells without reading; so does our own
  // shutdown.
  pollfd watched{handle, POLLRDHUP, 0};
  (void)::poll(&watched, 1, static_cast<int>(limit.count()));
}

Handle beginToConnect(int port) {
  const Handle handle = sandbox::socket::openStream();
  (void)::fcntl(handle, F_SETFL, ::fcntl(handle, F_GETFL) | O_NONBLOCK);
  const sockaddr_in address = loopback(port);
  (void)::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  return handle;
}

Outcome outcomeOfFailure() {
  if (errno == ECONNRESET) return Outcome::reset;
  return errno == ECONNREFUSED ? Outcome::refused : Outcome::failed;
}

Outcome receive(Handle handle, char* bytes, std::size_t most, std::size_t& count) {
  count = 0;
  const ssize_t received = ::recv(handle, bytes, most, 0);
  if (received < 0) return outcomeOfFailure();
  count = static_cast<std::size_t>(received);
  return received == 0 ? Outcome::ended : Outcome::done;
}

}  // namespace sockets
