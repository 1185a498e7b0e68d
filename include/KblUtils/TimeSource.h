#pragma once

#include <KblUtils/Export.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

namespace KBL {

/// Where the foundation takes its clock and its waiting from. The default is the system; tests install a
/// source that they move by hand. Called from any thread.
class KBL_INTERFACE ITimeSource {
 public:
  virtual ~ITimeSource() = default;
  /// Wall clock, milliseconds since the epoch.
  virtual std::uint64_t nowSinceEpochMs() = 0;
  /// A clock that never goes back, in milliseconds from some start.
  virtual std::int64_t steadyMs() = 0;
  /// Waits on `wake`, which belongs to the caller as `lock` does, until it is notified or `steadyMs` has
  /// reached `deadlineMs`; may return early. A source that is moved by hand notifies every waiter when it
  /// moves.
  virtual void wait(std::condition_variable& wake, std::unique_lock<std::mutex>& lock,
                    std::int64_t deadlineMs) = 0;
};

/// Replaces the time source of the process; null restores the system's. Whoever waits already goes on with
/// the source that it started with.
KBL_UTILS_API void setTimeSource(std::shared_ptr<ITimeSource> source);
[[nodiscard]] KBL_UTILS_API std::shared_ptr<ITimeSource> timeSource();

}  // namespace KBL
