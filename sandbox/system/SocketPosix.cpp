#include "sandbox/system/SocketCalls.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace sandbox::socket {

Handle openStream() {
  return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

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

bool waitReadable(Handle handle, std::chrono::milliseconds limit) {
  pollfd wanted{handle, POLLIN, 0};
  return ::poll(&wanted, 1, static_cast<int>(limit.count())) > 0;
}

bool peerClosed(Handle handle) {
  // POLLRDHUP looks past bytes that nobody has read yet.
  pollfd state{handle, POLLRDHUP, 0};
  return ::poll(&state, 1, 0) > 0 && (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

void endSending(Handle handle) {
  ::shutdown(handle, SHUT_WR);
}

void shutDown(Handle handle) {
  ::shutdown(handle, SHUT_RDWR);
}

void close(Handle handle) {
  ::close(handle);
}

bool isSilentlyTaken(const sockaddr_in&) {
  return false;
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
