#include "support/RawServer.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <sstream>
#include <utility>

namespace {

constexpr std::chrono::seconds patience(60);

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

RawConnection::RawConnection(sockets::Handle handle) : handle_(handle) {
  sockets::setPatience(handle, patience);
  sandbox::socket::setNoDelay(handle);
}

RawConnection::~RawConnection() {
  if (handle_ != sockets::none) sandbox::socket::close(handle_);
}

std::string RawConnection::readSome() {
  if (!pending_.empty()) return std::exchange(pending_, {});
  std::string bytes(256 << 10, '\0');
  bytes.resize(sandbox::socket::receive(handle_, bytes.data(), bytes.size()));
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
  return sandbox::socket::sendAll(handle_, bytes.data(), bytes.size());
}

bool RawConnection::reply(int status, const std::string& body, const std::string& headers) {
  return send("HTTP/1.1 " + std::to_string(status) +
              " Text\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + headers + "\r\n" + body);
}

void RawConnection::holdUntilClosed() {
  sockets::waitForPeerEnd(handle_, interrupted_, patience);
}

void RawConnection::waitForClose() {
  while (!readSome().empty()) {
  }
}

void RawConnection::reset() {
  sandbox::socket::closeWithReset(handle_.exchange(sockets::none));
}

void RawConnection::interrupt() {
  interrupted_ = true;
  if (handle_ != sockets::none) sandbox::socket::shutDown(handle_);
}

RawServer::RawServer(Serve serve)
    : serve_(std::move(serve)),
      listener_(sockets::listenOnLoopback(64)),
      port_(sandbox::socket::portOf(listener_)),
      acceptor_([this] { acceptAll(); }) {}

RawServer::~RawServer() {
  stopping_ = true;
  sockets::stopAccepting(listener_);
  acceptor_.join();
  sandbox::socket::close(listener_);
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
    const sockets::Handle handle = sockets::accept(listener_);
    if (handle == sockets::none) return;
    auto connection = std::make_shared<RawConnection>(handle);
    if (stopping_) return;
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
  const sockets::Handle handle = sandbox::socket::connectTo(port);
  return handle == sockets::none ? nullptr : std::make_unique<RawConnection>(handle);
}

int freePort() {
  const RawServer passing([](RawConnection&) {});
  return passing.port();
}

FullListener::FullListener()
    : sockets_{sockets::listenOnLoopback(0)}, port_(sandbox::socket::portOf(sockets_.front())) {
  // A queue of no length takes one or two.
  constexpr int callers = 4;
  for (int caller = 0; caller < callers; ++caller) sockets_.push_back(sockets::beginToConnect(port_));
}

FullListener::~FullListener() {
  for (const sockets::Handle handle : sockets_) sandbox::socket::close(handle);
}
