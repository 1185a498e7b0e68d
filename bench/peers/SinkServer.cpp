#include "SinkServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t bufferBytes = 256 << 10;
constexpr std::size_t mostDropped = 16 << 20;

// What is special about some targets.
constexpr const char* stall = "/stall";                  // its requests are never read nor answered
constexpr const char* stallingSession = "/opens-stall";  // a session whose chunks go there

/// One connection, plain or within TLS.
class Wire {
 public:
  Wire(int descriptor, SSL_CTX* tls) : descriptor_(descriptor) {
    const int on = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    if (tls == nullptr) return;
    ssl_.reset(SSL_new(tls));
    SSL_set_fd(ssl_.get(), descriptor);
    isOpen_ = SSL_accept(ssl_.get()) == 1;
  }
  ~Wire() {
    ssl_.reset();
    ::close(descriptor_);
  }
  Wire(const Wire&) = delete;
  Wire& operator=(const Wire&) = delete;

  /// Bytes that came, 0 at the end.
  std::size_t read(char* buffer, std::size_t size) {
    if (!isOpen_) return 0;
    const ssize_t count = ssl_ == nullptr ? ::recv(descriptor_, buffer, size, 0)
                                          : SSL_read(ssl_.get(), buffer, static_cast<int>(size));
    return count > 0 ? static_cast<std::size_t>(count) : 0;
  }

  /// Takes bytes that nobody looks at, at most `size`; 0 at the end. The kernel drops those of a plain socket
  /// without a copy, so that the clients are what is measured.
  std::size_t drop(char* buffer, std::size_t size) {
    if (ssl_ != nullptr) return read(buffer, std::min(size, bufferBytes));
    const ssize_t count = ::recv(descriptor_, nullptr, std::min(size, mostDropped), MSG_TRUNC);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
  }

  /// False when the peer has gone.
  bool write(std::string_view text) {
    while (!text.empty()) {
      const ssize_t count = ssl_ == nullptr
                                ? ::send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL)
                                : SSL_write(ssl_.get(), text.data(), static_cast<int>(text.size()));
      if (count <= 0) return false;
      text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  /// Reads and says nothing until the peer goes.
  void standStill() const {
    pollfd peer{descriptor_, POLLRDHUP, 0};
    (void)::poll(&peer, 1, -1);
  }

 private:
  struct FreeSsl {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
  };
  int descriptor_;
  std::unique_ptr<SSL, FreeSsl> ssl_;
  bool isOpen_ = true;
};

/// The value of a header line; empty when there is none.
std::string headerOf(const std::string& head, const std::string& name) {
  for (std::size_t line = head.find("\r\n"); line != std::string::npos; line = head.find("\r\n", line + 2)) {
    if (::strncasecmp(head.c_str() + line + 2, name.c_str(), name.size()) != 0) continue;
    const std::size_t begin = head.find_first_not_of(": ", line + 2 + name.size());
    return head.substr(begin, head.find("\r\n", begin) - begin);
  }
  return {};
}

std::uint64_t numberIn(const std::string& text) {
  return std::strtoull(text.c_str(), nullptr, 10);
}

bool isNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

std::uint64_t bodyBytes(const std::string& head) {
  return numberIn(headerOf(head, "Content-Length"));
}

std::string targetOf(const std::string& head) {
  const std::size_t begin = head.find(' ') + 1;
  return head.substr(begin, head.find(' ', begin) - begin);
}

/// "bytes 0-9/10" is the last range of its file; so is a body without a range.
bool isLastRange(const std::string& range) {
  const std::size_t dash = range.find('-');
  const std::size_t slash = range.find('/');
  if (dash == std::string::npos || slash == std::string::npos) return true;
  return numberIn(range.substr(dash + 1)) + 1 == numberIn(range.substr(slash + 1));
}

/// What the services say to a request that opens an upload, or takes all of one, in one object.
std::string reply(const std::string& baseUrl) {
  return R"({"code":0,"kind":"youtube#video","id":"bench","uri":"/videos/1","link":"https://vimeo.com/1",)"
         R"("data":{"error_code":0,"share_id":"bench","upload_id":"bench"},"upload":{"upload_link":")" +
         baseUrl + R"(/tus"}})";
}

/// The line that tells a client where the rest of its file goes on: behind the last byte of the range.
std::string reached(const std::string& range) {
  const std::size_t dash = range.find('-');
  return "Range: bytes=0-" + range.substr(dash + 1, range.find('/') - dash - 1) + "\r\n";
}

std::string answerTo(const std::string& head, const std::string& baseUrl) {
  const std::string body = reply(baseUrl);
  const std::string length = "Content-Length: " + std::to_string(body.size()) + "\r\n";
  const std::string range = headerOf(head, "Content-Range");
  if (head.starts_with("PATCH")) {
    const std::uint64_t offset = numberIn(headerOf(head, "Upload-Offset")) + bodyBytes(head);
    return "HTTP/1.1 204 No Content\r\nUpload-Offset: " + std::to_string(offset) + "\r\n\r\n";
  }
  if (head.starts_with("POST")) {
    const char* const place = targetOf(head).starts_with(stallingSession) ? stall : "/session";
    return "HTTP/1.1 200 OK\r\nLocation: " + baseUrl + place + "\r\n" + length + "\r\n" + body;
  }
  if (!isLastRange(range)) {
    return "HTTP/1.1 308 Resume Incomplete\r\n" + reached(range) + "Content-Length: 0\r\n\r\n";
  }
  return "HTTP/1.1 200 OK\r\n" + length + "\r\n" + body;
}

/// As many bytes as the target names: "/SIZE".
void give(Wire& wire, std::uint64_t left, std::vector<char>& buffer) {
  wire.write("HTTP/1.1 200 OK\r\nContent-Type: video/mp4\r\nContent-Length: " + std::to_string(left) +
             "\r\n\r\n");
  while (left > 0) {
    const std::size_t count = std::min<std::uint64_t>(left, buffer.size());
    if (!wire.write({buffer.data(), count})) return;
    left -= count;
  }
}

void serve(Wire& wire, const std::string& baseUrl) {
  std::vector<char> buffer(bufferBytes);
  std::string pending;
  while (true) {
    std::size_t end = 0;
    while ((end = pending.find("\r\n\r\n")) == std::string::npos) {
      const std::size_t count = wire.read(buffer.data(), buffer.size());
      if (count == 0) return;
      pending.append(buffer.data(), count);
    }
    const std::string head = pending.substr(0, end + 2);
    pending.erase(0, end + 4);
    const std::string target = targetOf(head);
    if (target.starts_with(stall)) return wire.standStill();
    if (head.starts_with("GET") && isNumber(target.substr(1))) {
      give(wire, numberIn(target.substr(1)), buffer);
      continue;
    }
    if (headerOf(head, "Expect") == "100-continue") wire.write("HTTP/1.1 100 Continue\r\n\r\n");
    std::size_t left = bodyBytes(head);
    const std::size_t there = std::min(left, pending.size());
    pending.erase(0, there);
    left -= there;
    while (left > 0) {
      const std::size_t count = wire.drop(buffer.data(), left);
      if (count == 0) return;
      left -= count;
    }
    wire.write(answerTo(head, baseUrl));
  }
}

}  // namespace

SinkServer::SinkServer() {
  listen();
}

SinkServer::SinkServer(const std::string& certificate, const std::string& key)
    : tls_(SSL_CTX_new(TLS_server_method())) {
  const bool isReady = tls_ != nullptr &&
                       SSL_CTX_use_certificate_chain_file(tls_.get(), certificate.c_str()) == 1 &&
                       SSL_CTX_use_PrivateKey_file(tls_.get(), key.c_str(), SSL_FILETYPE_PEM) == 1;
  if (!isReady) throw std::runtime_error("the certificate cannot be used");
  listen();
}

std::string SinkServer::baseUrl() const {
  return (tls_ == nullptr ? "http" : "https") + ("://127.0.0.1:" + std::to_string(port_));
}

void SinkServer::listen() {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  const bool isListening = ::bind(listener_, generic, size) == 0 && ::listen(listener_, 128) == 0 &&
                           ::getsockname(listener_, generic, &size) == 0;
  if (!isListening) throw std::runtime_error("cannot listen on 127.0.0.1");
  port_ = ntohs(address.sin_port);
  std::thread([this] { acceptAll(); }).detach();
}

void SinkServer::acceptAll() {
  while (true) {
    const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (descriptor < 0) return;
    std::thread([this, descriptor] {
      Wire wire(descriptor, tls_.get());
      serve(wire, baseUrl());
    }).detach();
  }
}
