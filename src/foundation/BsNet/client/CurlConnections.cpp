#include "foundation/BsNet/client/CurlConnections.h"

#include "foundation/neverFreed.h"
#include "foundation/system/NetworkSystem.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace KBL {
namespace {

using Clock = std::chrono::steady_clock;

/// Handles that no client has. No thread watches over them: one that has been idle for too long is ended by
/// the next that comes or goes.
class IdleHandles {
 public:
  /// What was taken out; ended by the caller when it holds the lock no more.
  using Ended = std::array<std::unique_ptr<CurlWires>, CurlConnections::maxIdleHandles>;

  /// The newest of the route with which nothing has happened meanwhile. libcurl itself would go on with a
  /// connection over TLS whose server has taken its leave.
  std::unique_ptr<CurlWires> take(const CurlRoute& route) {
    Ended ended;
    if (isOfParent()) return nullptr;
    const std::lock_guard lock(mutex_);
    takeAged(ended);
    while (Idle* const idle = newestOf(route)) {
      std::unique_ptr<CurlWires> wires = idle->takeOut();
      if (wires->areQuiet()) return wires;
      ended[static_cast<std::size_t>(idle - idle_.data())] = std::move(wires);
    }
    return nullptr;
  }

  /// Leaves in `wires` what is to be ended: the handle that had to make room, or the one that came.
  void keep(std::unique_ptr<CurlWires>& wires, CurlRoute&& route) {
    Ended aged;
    if (isOfParent()) return;
    const std::lock_guard lock(mutex_);
    if (isClosed_) return;
    takeAged(aged);
    // A free place has been idle since the clock began.
    const auto place = std::min_element(idle_.begin(), idle_.end(), [](const Idle& left, const Idle& right) {
      return left.idleSince() < right.idleSince();
    });
    place->route = std::move(route);
    place->since = Clock::now();
    place->wires.swap(wires);
  }

  void end() {
    Ended all;
    if (isOfParent()) return;
    const std::lock_guard lock(mutex_);
    takeAll(all);
  }

  void close() {
    Ended all;
    if (isOfParent()) return;
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
    takeAll(all);
  }

 private:
  struct Idle {
    CurlRoute route;
    std::unique_ptr<CurlWires> wires;  // null: a free place
    Clock::time_point since;

    [[nodiscard]] Clock::time_point idleSince() const {
      return wires == nullptr ? Clock::time_point::min() : since;
    }
    std::unique_ptr<CurlWires> takeOut() {
      route = {};  // it names the user of a proxy
      return std::move(wires);
    }
  };

  Idle* newestOf(const CurlRoute& route) {
    Idle* newest = nullptr;
    for (Idle& one : idle_) {
      if (one.wires == nullptr || one.route != route) continue;
      if (newest == nullptr || newest->since < one.since) newest = &one;
    }
    return newest;
  }

  /// A forked child has copies of the parent's connections, which it must neither use nor take leave of, and
  /// maybe a mutex that one of the parent's threads held. It keeps none of its own.
  [[nodiscard]] bool isOfParent() const { return process_ != processNumber(); }

  void takeAged(Ended& aged) {
    const auto limit = Clock::now() - std::chrono::seconds(CurlConnections::maxIdleSeconds);
    for (std::size_t i = 0; i < idle_.size(); ++i) {
      if (idle_[i].since < limit) aged[i] = idle_[i].takeOut();
    }
  }

  void takeAll(Ended& all) {
    for (std::size_t i = 0; i < idle_.size(); ++i) all[i] = idle_[i].takeOut();
  }

  const long process_ = processNumber();
  std::mutex mutex_;
  std::array<Idle, CurlConnections::maxIdleHandles> idle_;
  bool isClosed_ = false;
};

void closeAtExit();

/// Null until the first client.
std::atomic<IdleHandles*> madeHandles{nullptr};

// Workers end their clients while the process ends.
IdleHandles& idleHandles() {
  static IdleHandles& instance = []() -> IdleHandles& {
    // The gate's exit handler stands behind ours then, which so runs while libcurl may still be entered.
    const CurlStay stay;
    IdleHandles& made = neverFreed<IdleHandles>();
    madeHandles = &made;
    // Windows has ended the other threads by then, maybe inside, and takes the connections back itself.
    if (processNumber() != 0) (void)std::atexit(&closeAtExit);
    return made;
  }();
  return instance;
}

void closeAtExit() {
  idleHandles().close();
}

}  // namespace

bool CurlRoute::operator==(const CurlRoute& other) const {
  if (proxy != other.proxy) return false;
  if (trust == other.trust) return true;
  return trust != nullptr && other.trust != nullptr && *trust == *other.trust;
}

curl_socket_t CurlWires::open(curlsocktype purpose, curl_sockaddr* address) {
  sockets_.reserve(sockets_.size() + 1);
  const curl_socket_t socket = System::openOwnSocket(nullptr, purpose, address);
  if (socket != CURL_SOCKET_BAD) sockets_.push_back({socket});
  return socket;
}

int CurlWires::close(void* wires, curl_socket_t socket) {
  auto& sockets = static_cast<CurlWires*>(wires)->sockets_;
  std::erase_if(sockets, [socket](const Wire& wire) { return wire.socket == socket; });
  return System::closeSocket(socket);
}

bool CurlWires::areQuiet() const {
  return std::all_of(sockets_.begin(), sockets_.end(),
                     [](const Wire& wire) { return System::isQuiet(wire.socket); });
}

void CurlWires::setHttp1(int localPort) {
  for (Wire& wire : sockets_) wire.isHttp1 = wire.isHttp1 || System::localPort(wire.socket) == localPort;
}

curl_socket_t CurlWires::http1(int localPort) const {
  for (const Wire& wire : sockets_) {
    if (wire.isHttp1 && System::localPort(wire.socket) == localPort) return wire.socket;
  }
  return CURL_SOCKET_BAD;
}

CURLM* CurlConnections::on(CurlRoute route) {
  if (wires_ != nullptr && route_ == route) return wires_->multi();
  handOn();
  wires_ = idleHandles().take(route);
  if (wires_ == nullptr) wires_ = std::make_unique<CurlWires>();
  if (wires_->multi() == nullptr) wires_.reset();
  route_ = std::move(route);
  return wires_ == nullptr ? nullptr : wires_->multi();
}

void CurlConnections::handOn() {
  known_.clear();
  if (wires_ != nullptr && isSound_) idleHandles().keep(wires_, std::move(route_));
  wires_.reset();
}

bool CurlConnections::isKnown(const CurlEnds& ends) const {
  return std::find(known_.begin(), known_.end(), ends) != known_.end();
}

void CurlConnections::addKnown(CurlEnds ends) {
  // More than libcurl keeps open for one client.
  constexpr std::size_t enough = 8;
  if (known_.size() == enough) known_.erase(known_.begin());
  known_.push_back(std::move(ends));
}

void CurlConnections::endIdle() {
  if (IdleHandles* const made = madeHandles) made->end();
}

}  // namespace KBL
