#pragma once

#include <KblUtils/TimeUtil.h>
#include <KblUtils/Timer.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace KBL {

/// Limits of the interval between background refreshes, in milliseconds.
inline constexpr int minRefreshIntervalMs = 900000;
inline constexpr int maxRefreshIntervalMs = 3300000;

/// The background refresher of one user. Its timer ticks twice a second; when the interval has passed the
/// tick asks the manager, through the switchboard, to start a refresh. Held by shared pointers; ticks hold it
/// weakly. Any thread may call.
class AccessTokenProxy : public std::enable_shared_from_this<AccessTokenProxy> {
 public:
  AccessTokenProxy(std::string uuid, std::string ownerTag);

  /// When the next refresh is due, counted from its arming; zero or less: at the next tick.
  void setRefreshInterval(std::int64_t milliseconds);
  /// Starts the ticking, and the interval, anew. Without a thread or memory for it the refresher stands still
  /// until the next start, which the next answer of a renewal brings.
  void start();
  /// Ends the ticking for good. With a refresh under way it sleeps `milliseconds` once, and the proxy counts
  /// as stopped whether or not the refresh came back.
  void waitToStop(int milliseconds);
  void endRefresh() { refreshing_.exchange(false); }

  [[nodiscard]] std::int64_t refreshIntervalMs() const { return refreshIntervalMs_; }
  [[nodiscard]] bool refreshing() const { return refreshing_; }
  [[nodiscard]] bool stopping() const { return stopping_; }

 private:
  [[nodiscard]] bool startTimer();
  void tick();
  [[nodiscard]] bool startRefresh() const;

  const std::string uuid_;
  const std::string ownerTag_;
  Timer timer_;
  TimeSpan span_;  ///< since the last refresh was started or armed
  std::atomic<std::int64_t> refreshIntervalMs_{minRefreshIntervalMs};
  std::atomic<bool> refreshing_{false};
  std::atomic<bool> stopping_{false};
};

}  // namespace KBL
