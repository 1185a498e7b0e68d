#pragma once

#include <KblUtils/Export.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace KBL {

/// Clocks, over the process's time source.
class KBL_UTILS_API TimeUtil {
 public:
  /// Milliseconds since the epoch.
  static std::uint64_t nowSinceEpoch();
  /// The local wall-clock time in a strftime format.
  static std::string now(const std::string& format);
  /// Sleeps on the calling thread.
  static void sleepMs(int milliseconds);
};

/// A stopwatch over the process's time source. Any thread may read it while another one starts it anew.
class KBL_UTILS_API TimeSpan {
 public:
  TimeSpan();
  ~TimeSpan() = default;
  TimeSpan(const TimeSpan&) = delete;
  TimeSpan& operator=(const TimeSpan&) = delete;

  /// Starts anew from now.
  void start();
  /// Takes the time; returns itself, so that `span.end().timeSpan()` reads the milliseconds since the start.
  TimeSpan& end();
  /// Milliseconds from the last start to the last end; 0 before either.
  [[nodiscard]] std::int64_t timeSpan() const;
  /// Milliseconds from the last start to now, without taking the time.
  [[nodiscard]] std::int64_t elapsedMs() const;

 private:
  std::atomic<std::int64_t> startMs_;
  std::atomic<std::int64_t> spanMs_{0};
};

}  // namespace KBL
