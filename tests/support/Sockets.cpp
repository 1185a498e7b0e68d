#include "support/Sockets.h"

#include "sandbox/system/SocketCalls.h"
#include "support/SocketSystem.h"

#include <stdexcept>

namespace sockets {

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

Handle listenOnLoopback(int queue) {
  const Handle listener = sandbox::socket::openStream();
  const sockaddr_in address = loopback(0);
  const bool isListening =
      listener != none &&
      ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
      ::listen(listener, queue) == 0;
  if (!isListening) throw std::runtime_error("cannot listen on 127.0.0.1");
  return listener;
}

Outcome connect(int port, Handle& handle) {
  handle = sandbox::socket::openStream();
  if (handle == none) return Outcome::failed;
  const sockaddr_in address = loopback(port);
  if (::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0)
    return Outcome::done;
  const Outcome outcome = outcomeOfFailure();
  sandbox::socket::close(handle);
  handle = none;
  return outcome;
}

}  // namespace sockets
