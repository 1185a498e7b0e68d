#include "support/RawServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace {

constexpr int patienceSeconds = 60;

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int listenOnLoopback(int queue, int& port) {
  const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof(address);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  const bool isListening = ::bind(listener, generic, size) == 0 && ::listen(listener, queue) == 0 &&
                           ::getsockname(listener, generic, &size) == 0;
  if (!isListening) throw std::runtime_error("cannot listen on 127.0.0.1");
  port = ntohs(address.sin_port);
  return listener;
}

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

void parseHead(RawConnection::Request& request) {
  std::istringstream lines(request.head);
  std::getline(lines, request.line);
  if (!request.line.empty() && request.line.back() == '\r') request.line.pop_back();
  for (std::string line; std::getline(lines, line) && line != "\r";) {
    const auto colon = line.find(':');
    if (colon == std::string::npos) continue;
    const auto first = line.find_first_not_of(" \t", colon + 1);
    const auto last = line.find_last_not_of('\r');
    std::string value =
        first == std::string::npos || first > last ? "" : line.substr(first, last - first + 1);
    auto [place, isNew] = request.headers.try_emplace(lowered(line.substr(0, colon)), value);
    if (!isNew) place->second += "|" + value;
  }
}

}  // namespace

RawConnection::RawConnection(int descriptor) : descriptor_(descriptor) {
  const timeval patience{patienceSeconds, 0};
  ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

RawConnection::~RawConnection() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

std::string RawConnection::readSome() {
  if (!pending_.empty()) return std::exchange(pending_, {});
  std::string bytes(256 << 10, '\0');
  const ssize_t count = ::recv(descriptor_, bytes.data(), bytes.size(), 0);
  bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return bytes;
}

std::string RawConnection::read(std::size_t count) {
  std::string bytes;
  while (bytes.size() < count) {
    const std::string more = readSome();
    if (more.empty()) break;
    bytes += more;
  }
  if (bytes.size() > count) {
    pending_ = bytes.substr(count);
    bytes.resize(count);
  }
  return bytes;
}

bool RawConnection::readHead(Request& request) {
  request = {};
  std::string bytes;
  auto end = std::string::npos;
  while ((end = bytes.find("\r\n\r\n")) == std::string::npos) {
    const std::string more = readSome();
    if (more.empty()) return false;
    bytes += more;
  }
  pending_ = bytes.substr(end + 4);
  request.head = bytes.substr(0, end + 4);
  parseHead(request);
  return true;
}

bool RawConnection::readRequest(Request& request) {
  if (!readHead(request)) return false;
  const auto length = request.headers.find("content-length");
  if (length == request.headers.end()) return true;
  const std::size_t size = std::stoull(length->second);
  request.body = read(size);
  return request.body.size() == size;
}

bool RawConnection::send(const std::string& bytes) {
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = ::send(descriptor_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

bool RawConnection::reply(int status, const std::string& body, const std::string& headers) {
  return send("HTTP/1.1 " + std::to_string(status) +
              " Text\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + headers + "\r\n" + body);
}

void RawConnection::holdUntilClosed() {
  // The peer's end shows as a half close or an error, which poll tells without reading.
  pollfd watched{descriptor_, POLLRDHUP, 0};
  (void)::poll(&watched, 1, patienceSeconds * 1000);
}

void RawConnection::waitForClose() {
  while (!readSome().empty()) {
  }
}

void RawConnection::reset() {
  const linger atOnce{1, 0};
  ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
  ::close(descriptor_.exchange(-1));
}

void RawConnection::interrupt() {
  if (descriptor_ >= 0) ::shutdown(descriptor_, SHUT_RDWR);
}

RawServer::RawServer(Serve serve) : serve_(std::move(serve)) {
  listener_ = listenOnLoopback(64, port_);
  acceptor_ = std::thread([this] { acceptAll(); });
}

RawServer::~RawServer() {
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  ::close(listener_);
  {
    const std::lock_guard lock(mutex_);
    for (const auto& connection : open_) connection->interrupt();
  }
  for (std::thread& thread : threads_) thread.join();
}

std::string RawServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

void RawServer::acceptAll() {
  while (true) {
    const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (descriptor < 0) return;
    auto connection = std::make_shared<RawConnection>(descriptor);
    connection->number = ++connections_;
    const std::lock_guard lock(mutex_);
    open_.push_back(connection);
    threads_.emplace_back([this, connection = std::move(connection)]() mutable {
      serve_(*connection);
      {
        const std::lock_guard openLock(mutex_);
        std::erase(open_, connection);
      }
      connection.reset();
    });
  }
}

RawServer::Serve eachRequest(std::function<void(RawConnection&, const RawConnection::Request&)> answer) {
  return [answer = std::move(answer)](RawConnection& connection) {
    RawConnection::Request request;
    while (connection.readRequest(request)) answer(connection, request);
  };
}

std::unique_ptr<RawConnection> connectTo(int port) {
  const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
    return std::make_unique<RawConnection>(descriptor);
  }
  ::close(descriptor);
  return nullptr;
}

int freePort() {
  const RawServer passing([](RawConnection&) {});
  return passing.port();
}

FullListener::FullListener() : sockets_{listenOnLoopback(0, port_)} {
  // A queue of no length takes one or two.
  constexpr int callers = 4;
  const sockaddr_in address = loopback(port_);
  for (int caller = 0; caller < callers; ++caller) {
    sockets_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    (void)::connect(sockets_.back(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  }
}

FullListener::~FullListener() {
  for (const int descriptor : sockets_) ::close(descriptor);
}
