#include "sandbox/system/SocketCalls.h"

#include <algorithm>

namespace sandbox::socket {

namespace {

constexpr std::size_t largestPart = std::size_t{1} << 30;

/// Winsock stays started for the life of the process.
void startSockets() {
  static const bool started = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }();
  static_cast<void>(started);
}

int partOf(std::size_t count) {
  return static_cast<int>((std::min)(count, largestPart));
}

}  // namespace

Handle openStream() {
  startSockets();
  return WSASocketW(AF_INET, SOCK_STREAM, 0, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
}

std::size_t receive(Handle handle, char* bytes, std::size_t count) {
  const int received = ::recv(handle, bytes, partOf(count), 0);
  return received > 0 ? static_cast<std::size_t>(received) : 0;
}

bool sendAll(Handle handle, const char* bytes, std::size_t count) {
  while (count > 0) {
    const int sent = ::send(handle, bytes, partOf(count), 0);
    if (sent <= 0) return false;
    bytes += sent;
    count -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool waitReadable(Handle handle, std::chrono::milliseconds limit) {
  WSAPOLLFD wanted{handle, POLLRDNORM, 0};
  return WSAPoll(&wanted, 1, static_cast<int>(limit.count())) > 0;
}

bool peerClosed(Handle handle) {
  // The hang-up is told even while bytes that nobody has read yet lie before it.
  WSAPOLLFD state{handle, POLLRDNORM, 0};
  return WSAPoll(&state, 1, 0) > 0 && (state.revents & (POLLHUP | POLLERR)) != 0;
}

void endSending(Handle handle) {
  ::shutdown(handle, SD_SEND);
}

void shutDown(Handle handle) {
  ::shutdown(handle, SD_BOTH);
  // A call that is already blocked doesn't take notice of that.
  CancelIoEx(reinterpret_cast<HANDLE>(handle), nullptr);
}

void close(Handle handle) {
  ::closesocket(handle);
}

bool isSilentlyTaken(const sockaddr_in& address) {
  // Two sockets that allow reuse may share a port here, and only an exclusive one is refused.
  if (address.sin_port == 0) return false;
  const Handle probe = openStream();
  if (probe == none) return false;
  const int on = 1;
  ::setsockopt(probe, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on), sizeof on);
  const bool taken = ::bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0;
  close(probe);
  return taken;
}

/// There are no such signals here.
void blockBrokenPipeSignals() {}
BrokenPipeHandlingKept::BrokenPipeHandlingKept() : former_(nullptr) {}
BrokenPipeHandlingKept::~BrokenPipeHandlingKept() = default;

}  // namespace sandbox::socket
