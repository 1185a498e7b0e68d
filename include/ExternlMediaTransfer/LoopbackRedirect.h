#pragma once

// Catches the address that a browser reaches at the end of a login, for a host whose application has a
// loopback redirect address (RFC 8252, 7.3), so that nobody has to copy it. Not part of
// ExternlMediaTransfer.h, since it brings the system's sockets; nothing to link, but for ws2_32 on Windows.
//
//   KBL::LoopbackRedirect catcher;
//   if (catcher.listen("http://127.0.0.1:0/signed-in") != KBL::LoopbackRedirect::Result::listening) ...
//   transfer->Command(KBL::commandSetApp, key, secret, catcher.address().c_str());
//   transfer->Query(KBL::queryLoginUrl, url);
//   catcher.expectReplyTo(url);
//   openBrowser(url);
//   while (goesOn()) {
//     const auto reached = catcher.wait(std::chrono::milliseconds(100));
//     if (!reached) continue;
//     const int result = transfer->Command(KBL::commandVerifyRedirectUrl, reached->c_str(), error);
//     if (result == 2) continue;  // not it yet
//     catcher.answer(result == 0 ? "Signed in" : "Not signed in", "You may close this window.");
//     break;
//   }

#include <ExternlMediaTransfer/LoopbackParts.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace KBL {

/// Listens at a loopback redirect address for the one request that ends a login. Used by one thread at a
/// time, which is the host's: nothing goes on outside the calls. Calls may throw std::bad_alloc and nothing
/// else.
class LoopbackRedirect {
 public:
  enum class Result {
    listening,
    notLoopback,  ///< the address is none that can be listened at
    unavailable   ///< somebody else has the port, or it is not for this user
  };
  /// Browsers take "localhost" for ::1, too; where only 127.0.0.1 listens they come to it all the same.
  enum class Ipv6 { never, forLocalhost };

  /// True for "http://127.0.0.1:PORT..." and "http://localhost:PORT...", with a port and without a fragment.
  [[nodiscard]] static bool isCatchable(std::string_view redirectAddress) {
    return loopback::placeOf(redirectAddress).has_value();
  }

  /// Listens on 127.0.0.1 and, for localhost with `Ipv6::forLocalhost`, on ::1 where the system has it. Port
  /// 0 takes a free one, which services that heed RFC 8252 allow. Ends what was listened at before.
  [[nodiscard]] Result listen(std::string_view redirectAddress, Ipv6 ipv6 = Ipv6::never);

  /// The redirect address with its port, as the service has to be told it; empty while nothing listens.
  [[nodiscard]] const std::string& address() const { return address_; }

  /// The login that the browser was sent to: from now on a request counts that carries its `state`, or its
  /// `oauth_token` (OAuth 1). False for an address without either; then none counts.
  bool expectReplyTo(std::string_view loginAddress);

  /// The whole address that the browser reached, as soon as a request for the redirect address carries the
  /// login's mark; nothing when `limit` is over first. Everything else is answered 404 or 400 meanwhile. The
  /// browser waits for `answer` or `refuse`, and the next call refuses for a host that forgot.
  [[nodiscard]] std::optional<std::string> wait(std::chrono::milliseconds limit);

  /// The address that `wait` brought is not the login's end: 400, and listening goes on.
  void refuse();
  /// Shows the browser a page with this heading and line (plain text, UTF-8), and listens no more.
  void answer(std::string_view title, std::string_view text);
  /// Listens no more.
  void close();

 private:
  using Clock = std::chrono::steady_clock;

  /// A browser's address with its cookies fits; more is somebody else's.
  static constexpr std::size_t headLimit = std::size_t{32} << 10;
  /// Beyond them the oldest goes, so that idle ones never keep the browser out.
  static constexpr std::size_t mostConnections = 16;
  static constexpr std::chrono::seconds headPatience{10};
  static constexpr std::chrono::seconds farewell{2};

  struct Connection {
    loopback::Socket socket;
    std::string head;
    Clock::time_point end;
    bool isAnswered = false;  ///< what still comes is thrown away, so that the answer arrives
  };
  enum class Step { goesOn, over, caught };

  [[nodiscard]] bool bindTo(const loopback::Place& place, Ipv6 ipv6);
  [[nodiscard]] loopback::Socket boundTo(int family, std::uint16_t& port, bool& isThere) const;
  void waitForNews(Clock::time_point limit) const;
  void acceptAll();
  [[nodiscard]] Step advance(Connection& connection);
  [[nodiscard]] Step judge(Connection& connection);
  [[nodiscard]] bool carriesMark(std::string_view target) const;
  static void turnAway(Connection& connection, std::string_view status, std::string_view title);

  std::vector<loopback::Socket> listeners_;
  std::vector<Connection> connections_;
  std::optional<Connection> held_;  ///< the request that `wait` brought
  loopback::Fields marks_;
  std::string address_;
  std::string origin_;
  std::string path_;
};

inline LoopbackRedirect::Result LoopbackRedirect::listen(std::string_view redirectAddress, Ipv6 ipv6) {
  close();
  std::optional<loopback::Place> place = loopback::placeOf(redirectAddress);
  if (!place) return Result::notLoopback;
  const bool isFixed = place->port != 0;
  // A free port of one family may be taken in the other.
  constexpr int tries = 8;
  for (int i = 0; i < (isFixed ? 1 : tries); ++i) {
    if (bindTo(*place, ipv6)) return Result::listening;
  }
  close();
  return Result::unavailable;
}

inline bool LoopbackRedirect::bindTo(const loopback::Place& place, Ipv6 ipv6) {
  std::uint16_t port = place.port;
  bool isThere = true;
  listeners_.clear();
  listeners_.push_back(boundTo(AF_INET, port, isThere));
  if (!listeners_.back()) return false;
  if (ipv6 == Ipv6::forLocalhost && loopback::lowerCase(place.host) == "localhost") {
    loopback::Socket second = boundTo(AF_INET6, port, isThere);
    // Whoever has the port there would get the browser's request.
    if (!second && isThere) return false;
    if (second) listeners_.push_back(std::move(second));
  }
  origin_ = "http://" + place.host + ":" + std::to_string(port);
  address_ = origin_ + place.target;
  path_ = place.path();
  return true;
}

/// `isThere` is false where the system has no such address.
inline loopback::Socket LoopbackRedirect::boundTo(int family, std::uint16_t& port, bool& isThere) const {
  loopback::Socket made = loopback::Socket::open(family);
  isThere = static_cast<bool>(made);
  if (!made) return made;
  sockaddr_in four{};
  four.sin_family = AF_INET;
  four.sin_port = htons(port);
  four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  sockaddr_in6 six{};
  six.sin6_family = AF_INET6;
  six.sin6_port = htons(port);
  six.sin6_addr.s6_addr[15] = 1;
  const bool isFour = family == AF_INET;
  const auto* const wanted =
      isFour ? reinterpret_cast<const sockaddr*>(&four) : reinterpret_cast<const sockaddr*>(&six);
  const auto size = static_cast<socklen_t>(isFour ? sizeof four : sizeof six);
  const int on = 1;
  if (!isFour) {
    ::setsockopt(made.handle(), IPPROTO_IPV6, IPV6_V6ONLY, reinterpret_cast<const char*>(&on), sizeof on);
  }
  if (::bind(made.handle(), wanted, size) != 0) {
#if defined(_WIN32)
    isThere = ::WSAGetLastError() != WSAEADDRNOTAVAIL;
#else
    isThere = errno != EADDRNOTAVAIL;
#endif
    return loopback::Socket();
  }
  if (::listen(made.handle(), static_cast<int>(mostConnections)) != 0) return loopback::Socket();
  socklen_t length = sizeof four;
  if (isFour && ::getsockname(made.handle(), reinterpret_cast<sockaddr*>(&four), &length) == 0) {
    port = ntohs(four.sin_port);
  }
  return made;
}

inline bool LoopbackRedirect::expectReplyTo(std::string_view loginAddress) {
  marks_.clear();
  const loopback::Fields fields = loopback::fieldsOf(loginAddress);
  if (const std::string state = loopback::onlyValue(fields, "state"); !state.empty()) {
    marks_ = {{"state", state}};
  } else if (const std::string token = loopback::onlyValue(fields, "oauth_token"); !token.empty()) {
    marks_ = {{"oauth_token", token}, {"denied", token}};
  }
  return !marks_.empty();
}

inline std::optional<std::string> LoopbackRedirect::wait(std::chrono::milliseconds limit) {
  refuse();
  const Clock::time_point end = Clock::now() + limit;
  do {
    waitForNews(end);
    acceptAll();
    for (std::size_t i = 0; i < connections_.size();) {
      const Step step = advance(connections_[i]);
      if (step == Step::goesOn && Clock::now() < connections_[i].end) {
        ++i;
        continue;
      }
      Connection done = std::move(connections_[i]);
      connections_.erase(connections_.begin() + static_cast<std::ptrdiff_t>(i));
      if (step != Step::caught) continue;
      const std::size_t begin = done.head.find(' ') + 1;
      std::string reached = origin_ + done.head.substr(begin, done.head.find(' ', begin) - begin);
      held_.emplace(std::move(done));
      return reached;
    }
  } while (Clock::now() < end);
  return std::nullopt;
}

inline void LoopbackRedirect::waitForNews(Clock::time_point limit) const {
  std::vector<loopback::PollEntry> entries;
  for (const loopback::Socket& listener : listeners_) {
    entries.push_back(loopback::PollEntry{listener.handle(), POLLIN, 0});
  }
  for (const Connection& connection : connections_) {
    entries.push_back(loopback::PollEntry{connection.socket.handle(), POLLIN, 0});
    limit = (std::min)(limit, connection.end);
  }
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now());
  if (entries.empty()) {
    std::this_thread::sleep_for(left);
  } else {
    loopback::waitForNews(entries, left);
  }
}

inline void LoopbackRedirect::acceptAll() {
  for (const loopback::Socket& listener : listeners_) {
    for (std::size_t i = 0; i < mostConnections; ++i) {
      loopback::Socket next = listener.accept();
      if (!next) break;
      if (connections_.size() == mostConnections) connections_.erase(connections_.begin());
      connections_.push_back(Connection{std::move(next), {}, Clock::now() + headPatience});
    }
  }
}

inline LoopbackRedirect::Step LoopbackRedirect::advance(Connection& connection) {
  std::array<char, 4096> bytes;
  // Whoever sends without end gets its turn like the others.
  for (std::size_t taken = 0; taken < headLimit; taken += bytes.size()) {
    const long count = connection.socket.receive(bytes.data(), bytes.size());
    if (count == 0) return Step::over;
    if (count < 0) return Step::goesOn;
    if (connection.isAnswered) continue;
    connection.head.append(bytes.data(), static_cast<std::size_t>(count));
    if (connection.head.find("\r\n\r\n") != std::string::npos) return judge(connection);
    if (connection.head.size() >= headLimit) turnAway(connection, "400 Bad Request", "Too much was sent");
  }
  return Step::goesOn;
}

inline LoopbackRedirect::Step LoopbackRedirect::judge(Connection& connection) {
  const std::string_view head = connection.head;
  const std::string_view line = head.substr(0, head.find("\r\n"));
  const std::size_t begin = line.find(' ') + 1;
  const std::size_t end = line.rfind(' ');
  const bool isGet = line.substr(0, begin) == "GET " && end > begin &&
                     (line.substr(end) == " HTTP/1.1" || line.substr(end) == " HTTP/1.0");
  const std::string_view target = isGet ? line.substr(begin, end - begin) : std::string_view();
  if (!isGet || !loopback::isVisible(target)) {
    turnAway(connection, "400 Bad Request", "This is no request of a login");
  } else if (target.substr(0, target.find('?')) != path_) {
    turnAway(connection, "404 Not Found", "There is nothing here");
  } else if (!carriesMark(target)) {
    turnAway(connection, "400 Bad Request", "This is not the end of the login that is going on");
  } else {
    return Step::caught;
  }
  return Step::goesOn;
}

inline bool LoopbackRedirect::carriesMark(std::string_view target) const {
  const loopback::Fields fields = loopback::fieldsOf(target);
  return std::any_of(marks_.begin(), marks_.end(), [&](const auto& mark) {
    return loopback::onlyValue(fields, mark.first) == mark.second;
  });
}

inline void LoopbackRedirect::turnAway(Connection& connection, std::string_view status,
                                       std::string_view title) {
  connection.socket.send(loopback::pageAnswer(status, title, "The login is still waited for."));
  connection.socket.endSending();
  connection.isAnswered = true;
  connection.end = Clock::now() + farewell;
}

inline void LoopbackRedirect::refuse() {
  if (!held_) return;
  turnAway(*held_, "400 Bad Request", "This is not the end of the login yet");
  connections_.push_back(std::move(*held_));
  held_.reset();
}

inline void LoopbackRedirect::answer(std::string_view title, std::string_view text) {
  if (held_) {
    held_->socket.send(loopback::pageAnswer("200 OK", title, text));
    held_->socket.endSending();
    held_->isAnswered = true;
    // What nobody has read would cut the page off at the close.
    (void)advance(*held_);
  }
  close();
}

inline void LoopbackRedirect::close() {
  held_.reset();
  connections_.clear();
  listeners_.clear();
  marks_.clear();
  address_.clear();
}

}  // namespace KBL
