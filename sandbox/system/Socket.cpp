#include "sandbox/system/Socket.h"

#include "sandbox/system/SocketCalls.h"

#include <array>

namespace sandbox::socket {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int backlog = 1024;

sockaddr_in localAddress(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

/// Windows declares the value as text.
template <class Value>
void setOption(Handle handle, int level, int option, const Value& value) {
  ::setsockopt(handle, level, option, reinterpret_cast<const char*>(&value), sizeof value);
}

}  // namespace

void setNoDelay(Handle handle) {
  setOption(handle, IPPROTO_TCP, TCP_NODELAY, int{1});
}

void sayGoodbye(Handle handle, std::chrono::milliseconds limit) {
  endSending(handle);
  const Clock::time_point end = Clock::now() + limit;
  std::array<char, 65536> ignored;
  while (true) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0 || !waitReadable(handle, left)) break;
    if (receive(handle, ignored.data(), ignored.size()) == 0) break;
  }
}

void closeWithReset(Handle handle) {
  setOption(handle, SOL_SOCKET, SO_LINGER, linger{1, 0});
  close(handle);
}

Handle connectTo(int port) {
  const Handle handle = openStream();
  if (handle == none) return none;
  const sockaddr_in address = localAddress(port);
  if (::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return handle;
  close(handle);
  return none;
}

Handle reservePort(int port) {
  const sockaddr_in address = localAddress(port);
  if (isSilentlyTaken(address)) return none;
  const Handle handle = openStream();
  if (handle == none) return none;
  setOption(handle, SOL_SOCKET, SO_REUSEADDR, int{1});
  if (::bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return handle;
  close(handle);
  return none;
}

int portOf(Handle handle) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (::getsockname(handle, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return ntohs(address.sin_port);
}

void prepareListening(Handle handle, int receiveBuffer) {
  setOption(handle, SOL_SOCKET, SO_REUSEADDR, int{1});
  if (receiveBuffer > 0) setOption(handle, SOL_SOCKET, SO_RCVBUF, receiveBuffer);
}

void widenBacklog(Handle handle) {
  ::listen(handle, backlog);
}

}  // namespace sandbox::socket
