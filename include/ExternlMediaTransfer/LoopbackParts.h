#pragma once

// What LoopbackRedirect.h is made of: a socket, addresses, a page. No host uses these by themselves.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#if defined(_WIN32)
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <winsock2.h>
// winsock2.h has to come first
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace KBL {

namespace loopback {

#if defined(_WIN32)
using Handle = SOCKET;
using PollEntry = WSAPOLLFD;
constexpr Handle noHandle = INVALID_SOCKET;
#else
using Handle = int;
using PollEntry = pollfd;
constexpr Handle noHandle = -1;
#endif

/// Owns a socket that never blocks, and that no child process inherits.
class Socket {
 public:
  explicit Socket(Handle handle = noHandle) noexcept : handle_(handle) {}
  Socket(Socket&& other) noexcept : handle_(std::exchange(other.handle_, noHandle)) {}
  Socket& operator=(Socket&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Socket();

  /// A stream socket of the family; without one where the system has none.
  [[nodiscard]] static Socket open(int family);
  /// The next connection; without one when none waits.
  [[nodiscard]] Socket accept() const { return prepared(::accept(handle_, nullptr, nullptr)); }

  explicit operator bool() const { return handle_ != noHandle; }
  [[nodiscard]] Handle handle() const { return handle_; }

  /// The bytes that came; 0 at the end, negative without news.
  [[nodiscard]] long receive(char* bytes, std::size_t count) const;
  /// Gives up on a peer that takes nothing for a second.
  void send(std::string_view text) const;
  void endSending() const;

 private:
  static Socket prepared(Handle handle);

  Handle handle_;
};

/// Waits until one of the sockets has news, or the time is over.
inline void waitForNews(std::vector<PollEntry>& entries, std::chrono::milliseconds limit) {
  const auto wait = static_cast<int>((std::max<std::int64_t>)(0, limit.count()));
#if defined(_WIN32)
  (void)::WSAPoll(entries.data(), static_cast<ULONG>(entries.size()), wait);
#else
  (void)::poll(entries.data(), static_cast<nfds_t>(entries.size()), wait);
#endif
}

#if defined(_WIN32)

inline Socket::~Socket() {
  if (handle_ != noHandle) ::closesocket(handle_);
}

inline Socket Socket::open(int family) {
  static const bool started = [] {
    WSADATA data;
    return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }();
  if (!started) return Socket();
  Socket made = prepared(
      ::WSASocketW(family, SOCK_STREAM, 0, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT));
  // Two sockets could share the port otherwise.
  const int on = 1;
  ::setsockopt(made.handle_, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on), sizeof on);
  return made;
}

inline Socket Socket::prepared(Handle handle) {
  if (handle == noHandle) return Socket();
  u_long on = 1;
  ::ioctlsocket(handle, FIONBIO, &on);
  ::SetHandleInformation(reinterpret_cast<HANDLE>(handle), HANDLE_FLAG_INHERIT, 0);
  return Socket(handle);
}

inline long Socket::receive(char* bytes, std::size_t count) const {
  const int got = ::recv(handle_, bytes, static_cast<int>(count), 0);
  return got < 0 && ::WSAGetLastError() != WSAEWOULDBLOCK ? 0 : got;
}

inline void Socket::endSending() const {
  ::shutdown(handle_, SD_SEND);
}

#else

inline Socket::~Socket() {
  if (handle_ != noHandle) ::close(handle_);
}

inline Socket Socket::open(int family) {
#if defined(SOCK_CLOEXEC)
  constexpr int kind = SOCK_STREAM | SOCK_CLOEXEC;
#else
  constexpr int kind = SOCK_STREAM;
#endif
  Socket made = prepared(::socket(family, kind, 0));
  // A port that was used a moment ago is free again at once.
  const int on = 1;
  if (made) ::setsockopt(made.handle_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  return made;
}

inline Socket Socket::prepared(Handle handle) {
  if (handle == noHandle) return Socket();
  (void)::fcntl(handle, F_SETFD, FD_CLOEXEC);
  (void)::fcntl(handle, F_SETFL, ::fcntl(handle, F_GETFL) | O_NONBLOCK);
#if defined(SO_NOSIGPIPE)
  const int on = 1;
  ::setsockopt(handle, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
  return Socket(handle);
}

inline long Socket::receive(char* bytes, std::size_t count) const {
  const ssize_t got = ::recv(handle_, bytes, count, 0);
  const bool isOver = got < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR;
  return isOver ? 0 : static_cast<long>(got);
}

inline void Socket::endSending() const {
  ::shutdown(handle_, SHUT_WR);
}

#endif

inline void Socket::send(std::string_view text) const {
#if defined(MSG_NOSIGNAL)
  constexpr int flags = MSG_NOSIGNAL;
#else
  constexpr int flags = 0;
#endif
  constexpr std::chrono::seconds patience(1);
  while (!text.empty()) {
    std::vector<PollEntry> entry{PollEntry{handle_, POLLOUT, 0}};
    waitForNews(entry, patience);
    if ((entry.front().revents & POLLOUT) == 0) return;
#if defined(_WIN32)
    const int sent = ::send(handle_, text.data(), static_cast<int>(text.size()), flags);
#else
    const ssize_t sent = ::send(handle_, text.data(), text.size(), flags);
#endif
    if (sent <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
}

/// "http://127.0.0.1:PORT/PATH" or "http://localhost:PORT/PATH", taken apart.
struct Place {
  std::string host;
  std::uint16_t port = 0;
  std::string target;  ///< what follows the port, as it stands

  [[nodiscard]] std::string path() const {
    const std::string before = target.substr(0, target.find('?'));
    return before.empty() ? "/" : before;
  }
};

inline bool isVisible(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

inline std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

/// Nothing for any other address: one without a port, with a fragment, of https, of another host.
inline std::optional<Place> placeOf(std::string_view address) {
  constexpr std::string_view scheme = "http://";
  constexpr std::size_t mostDigits = 5;
  if (address.size() > 2048 || !isVisible(address) || address.find('#') != std::string_view::npos) return {};
  if (lowerCase(address.substr(0, scheme.size())) != scheme) return {};
  address.remove_prefix(scheme.size());
  const std::string_view authority = address.substr(0, address.find_first_of("/?"));
  const std::size_t colon = authority.find(':');
  if (colon == std::string_view::npos) return {};
  Place place{std::string(authority.substr(0, colon)), 0, std::string(address.substr(authority.size()))};
  const std::string host = lowerCase(place.host);
  if (host != "127.0.0.1" && host != "localhost") return {};
  const std::string_view digits = authority.substr(colon + 1);
  if (digits.empty() || digits.size() > mostDigits) return {};
  unsigned long port = 0;
  for (const char c : digits) {
    if (c < '0' || c > '9') return {};
    port = port * 10 + static_cast<unsigned long>(c - '0');
  }
  if (port > UINT16_MAX) return {};
  place.port = static_cast<std::uint16_t>(port);
  return place;
}

using Fields = std::vector<std::pair<std::string, std::string>>;

/// A part of a query, decoded.
inline std::string decoded(std::string_view text) {
  const auto digit = [](char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
  };
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isEscape =
        text[i] == '%' && i + 2 < text.size() && digit(text[i + 1]) >= 0 && digit(text[i + 2]) >= 0;
    if (isEscape) {
      plain += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
      i += 2;
    } else {
      plain += text[i] == '+' ? ' ' : text[i];
    }
  }
  return plain;
}

/// The fields behind the question mark of an address, in their order.
inline Fields fieldsOf(std::string_view address) {
  Fields fields;
  const std::size_t mark = address.find('?');
  if (mark == std::string_view::npos) return fields;
  std::string_view query = address.substr(mark + 1);
  query = query.substr(0, query.find('#'));
  while (!query.empty()) {
    const std::string_view field = query.substr(0, query.find('&'));
    query.remove_prefix((std::min)(field.size() + 1, query.size()));
    const std::size_t equals = (std::min)(field.find('='), field.size());
    fields.emplace_back(decoded(field.substr(0, equals)),
                        decoded(field.substr((std::min)(equals + 1, field.size()))));
  }
  return fields;
}

/// The value of a field that comes once; empty for any other.
inline std::string onlyValue(const Fields& fields, std::string_view name) {
  std::string value;
  int count = 0;
  for (const auto& [known, text] : fields) {
    if (known != name) continue;
    value = text;
    ++count;
  }
  return count == 1 ? value : std::string();
}

inline std::string htmlEscaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

/// A whole answer: a page in the user's light or dark, which loads nothing and is kept nowhere.
inline std::string pageAnswer(std::string_view status, std::string_view title, std::string_view text) {
  const std::string heading = htmlEscaped(title);
  const std::string body =
      "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n<link rel=\"icon\" href=\"data:,\">\n<title>" +
      heading +
      "</title>\n<style>\n:root { color-scheme: light dark; }\n"
      "body { font: 1.1rem/1.5 system-ui, sans-serif; max-width: 34rem; margin: 15vh auto; padding: 0 1rem;\n"
      "       overflow-wrap: anywhere; color: CanvasText; background: Canvas; }\n"
      "</style>\n</head>\n<body>\n<main role=\"status\">\n<h1>" +
      heading + "</h1>\n<p>" + htmlEscaped(text) + "</p>\n</main>\n</body>\n</html>\n";
  return "HTTP/1.1 " + std::string(status) +
         "\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nConnection: close\r\nCache-Control: no-store\r\nReferrer-Policy: no-referrer\r\n"
         "X-Content-Type-Options: nosniff\r\nContent-Security-Policy: default-src 'none'; img-src data:; "
         "style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'\r\n\r\n" +
         body;
}

}  // namespace loopback

}  // namespace KBL
