#include "sandbox/server/Socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace sandbox::socket {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBacklog = 1024;

sockaddr_in localAddress(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

bool waitReadable(Handle handle, std::chrono::milliseconds limit) {
  pollfd wanted{handle, POLLIN, 0};
  return ::poll(&wanted, 1, static_cast<int>(limit.count())) > 0;
}

}  // namespace

std::size_t receive(Handle handle, char* bytes, std::size_t count) {
  ssize_t received = 0;
  do {
    received = ::recv(handle, bytes, count, 0);
  } while (received < 0 && errno == EINTR);
  return received > 0 ? static_cast<std::size_t>(received) : 0;
}

bool sendAll(Handle handle, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t sent = ::send(handle, bytes, count, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    bytes += sent;
    count -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool peerClosed(Handle handle) {
  // POLLRDHUP looks past bytes that nobody has read yet.
  pollfd state{handle, POLLRDHUP, 0};
  return ::poll(&state, 1, 0) > 0 && (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

void setNoDelay(Handle handle) {
  const int on = 1;
  ::setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void shutDown(Handle handle) {
  ::shutdown(handle, SHUT_RDWR);
}

void sayGoodbye(Handle handle, std::chrono::milliseconds limit) {
  ::shutdown(handle, SHUT_WR);
  const Clock::time_point end = Clock::now() + limit;
  std::array<char, 65536> ignored;
  while (true) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0 || !waitReadable(handle, left)) break;
    if (receive(handle, ignored.data(), ignored.size()) == 0) break;
  }
}

void closeWithReset(Handle handle) {
  const linger atOnce{1, 0};
  ::setsockopt(handle, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  ::close(handle);
}

void close(Handle handle) {
  ::close(handle);
}

Handle connectTo(int port) {
  const Handle handle = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (handle == kNone) return kNone;
  const sockaddr_in address = localAddress(port);
  if (::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return handle;
  ::close(handle);
  return kNone;
}

Handle reservePort(int port) {
  const Handle handle = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (handle == kNone) return kNone;
  const int on = 1;
  ::setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in address = localAddress(port);
  if (::bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return handle;
  ::close(handle);
  return kNone;
}

int portOf(Handle handle) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (::getsockname(handle, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return ntohs(address.sin_port);
}

void prepareListening(Handle handle, int receiveBuffer) {
  const int on = 1;
  ::setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (receiveBuffer > 0) ::setsockopt(handle, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
}

void widenBacklog(Handle handle) {
  ::listen(handle, kBacklog);
}

void blockBrokenPipeSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

BrokenPipeHandlingKept::BrokenPipeHandlingKept() : former_(std::signal(SIGPIPE, SIG_IGN)) {}

BrokenPipeHandlingKept::~BrokenPipeHandlingKept() {
  static_cast<void>(std::signal(SIGPIPE, former_));
}

}  // namespace sandbox::socket
