#include "foundation/BsNet/client/CurlConnections.h"

#include "foundation/neverFreed.h"

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
  using Ended = std::array<CurlMulti, CurlConnections::maxIdleHandles>;

  CurlMulti take(const CurlRoute& route) {
    Ended aged;
    if (isOfParent()) return nullptr;
    const std::lock_guard lock(mutex_);
    takeAged(aged);
    Idle* newest = nullptr;
    for (Idle& one : idle_) {
      if (one.multi == nullptr || one.route != route) continue;
      if (newest == nullptr || newest->since < one.since) newest = &one;
    }
    return newest == nullptr ? nullptr : std::move(newest->multi);
  }

  /// Leaves in `multi` what is to be ended: the handle that had to make room, or the one that came.
  void keep(CurlMulti& multi, CurlRoute&& route) {
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
    place->multi.swap(multi);
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
    CurlMulti multi;  // null: a free place
    Clock::time_point since;

    [[nodiscard]] Clock::time_point idleSince() const {
      return multi == nullptr ? Clock::time_point::min() : since;
    }
  };

  /// A forked child has copies of the parent's connections, which it must neither use nor take leave of, and
  /// maybe a mutex that one of the parent's threads held. It keeps none of its own.
  [[nodiscard]] bool isOfParent() const { return process_ != processNumber(); }

  void takeAged(Ended& aged) {
    const auto limit = Clock::now() - std::chrono::seconds(CurlConnections::maxIdleSeconds);
    for (std::size_t i = 0; i < idle_.size(); ++i) {
      if (idle_[i].since < limit) aged[i] = std::move(idle_[i].multi);
    }
  }

  void takeAll(Ended& all) {
    for (std::size_t i = 0; i < idle_.size(); ++i) all[i] = std::move(idle_[i].multi);
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

CURLM* CurlConnections::on(CurlRoute route) {
  if (multi_ != nullptr && route_ == route) return multi_.get();
  handOn();
  multi_ = idleHandles().take(route);
  if (multi_ == nullptr) multi_.reset(curl_multi_init());
  route_ = std::move(route);
  return multi_.get();
}

void CurlConnections::handOn() {
  known_.clear();
  if (multi_ != nullptr && isSound_) idleHandles().keep(multi_, std::move(route_));
  multi_.reset();
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
