#include "support/SocketSystem.h"

#include <algorithm>

namespace sockets {

namespace {

/// How often a wait that the system cannot end looks up.
constexpr std::chrono::milliseconds glance(10);

}  // namespace

Handle accept(Handle listener) {
  const Handle caller = ::accept(listener, nullptr, nullptr);
  if (caller != none) SetHandleInformation(reinterpret_cast<HANDLE>(caller), HANDLE_FLAG_INHERIT, 0);
  return caller;
}

void stopAccepting(Handle listener) {
  // Nothing but a caller wakes whoever accepts, whenever it began to.
  const Handle caller = sandbox::socket::connectTo(sandbox::socket::portOf(listener));
  if (caller != none) sandbox::socket::close(caller);
}

void setPatience(Handle handle, std::chrono::seconds patience) {
  const auto limit = static_cast<DWORD>(std::chrono::milliseconds(patience).count());
  ::setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit), sizeof(limit));
  ::setsockopt(handle, SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<const char*>(&limit), sizeof(limit));
}

void waitForPeerEnd(Handle handle, const std::atomic<bool>& interrupted, std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!interrupted && std::chrono::steady_clock::now() < end) {
    // Asked for nothing it tells the hang-up and the error alone.
    WSAPOLLFD watched{handle, 0, 0};
    if (WSAPoll(&watched, 1, static_cast<int>(glance.count())) != 0) return;
  }
}

Handle beginToConnect(int port) {
  const Handle handle = sandbox::socket::openStream();
  u_long on = 1;
  ::ioctlsocket(handle, FIONBIO, &on);
  const sockaddr_in address = loopback(port);
  (void)::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  return handle;
}

Outcome outcomeOfFailure() {
  const int code = WSAGetLastError();
  if (code == WSAECONNRESET) return Outcome::reset;
  return code == WSAECONNREFUSED ? Outcome::refused : Outcome::failed;
}

Outcome receive(Handle handle, char* bytes, std::size_t most, std::size_t& count) {
  constexpr std::size_t largest = std::size_t{1} << 30;
  count = 0;
  const int received = ::recv(handle, bytes, static_cast<int>((std::min)(most, largest)), 0);
  if (received < 0) return outcomeOfFailure();
  count = static_cast<std::size_t>(received);
  return received == 0 ? Outcome::ended : Outcome::done;
}

}  // namespace sockets
