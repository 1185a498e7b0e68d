#include "sandbox/RawConnection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace {

constexpr int limitMilliseconds = 30'000;

}  // namespace

RawConnection::RawConnection(int port) : handle_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  connected_ = ::connect(handle_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  refused_ = !connected_ && errno == ECONNREFUSED;
}

RawConnection::~RawConnection() {
  ::close(handle_);
}

bool RawConnection::send(const std::string& bytes) const {
  std::size_t at = 0;
  while (at < bytes.size()) {
    const ssize_t sent = ::send(handle_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    at += static_cast<std::size_t>(sent);
  }
  return true;
}

std::string RawConnection::readAll() {
  std::string text;
  while (receive(text, std::string::npos)) {
  }
  return text;
}

std::string RawConnection::read(std::size_t count) {
  std::string text;
  while (text.size() < count && receive(text, count - text.size())) {
  }
  return text;
}

bool RawConnection::receive(std::string& into, std::size_t most) {
  pollfd wanted{handle_, POLLIN, 0};
  if (::poll(&wanted, 1, limitMilliseconds) <= 0) return false;
  std::array<char, 65536> buffer;
  const ssize_t received = ::recv(handle_, buffer.data(), std::min(most, buffer.size()), 0);
  if (received == 0) end_ = End::closed;
  if (received < 0 && errno == ECONNRESET) end_ = End::reset;
  if (received <= 0) return false;
  into.append(buffer.data(), static_cast<std::size_t>(received));
  return true;
}
