#include "sandbox/RawConnection.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace {

constexpr std::chrono::seconds patience(30);

}  // namespace

RawConnection::RawConnection(int port) : outcome_(sockets::connect(port, handle_)) {
  if (connected()) sockets::setPatience(handle_, patience);
}

RawConnection::~RawConnection() {
  if (connected()) sandbox::socket::close(handle_);
}

bool RawConnection::send(const std::string& bytes) const {
  return sandbox::socket::sendAll(handle_, bytes.data(), bytes.size());
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

bool RawConnection::wasReset() const {
#if defined(_WIN32)
  if (end_ == End::closed) return true;
#endif
  return end_ == End::reset;
}

bool RawConnection::receive(std::string& into, std::size_t most) {
  std::array<char, 65536> buffer;
  std::size_t count = 0;
  const sockets::Outcome outcome =
      sockets::receive(handle_, buffer.data(), std::min(most, buffer.size()), count);
  if (outcome == sockets::Outcome::ended) end_ = End::closed;
  if (outcome == sockets::Outcome::reset) end_ = End::reset;
  into.append(buffer.data(), count);
  return outcome == sockets::Outcome::done;
}
