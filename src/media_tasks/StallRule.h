#pragma once

#include <cstdint>

namespace KBL {

/// Says when a fetch is given up: a server that sends nothing for more than 30 s has stalled, and one that
/// sends a byte now and then is given its limit alone. One fetch after another, on one thread.
class StallRule {
 public:
  /// `longestMs`: milliseconds until a body has to be whole; 0 for no end.
  explicit StallRule(std::int64_t longestMs) : longestMs_(longestMs) {}

  /// Forgets the last fetch. The clock of the next starts with its first beat.
  void begin() { *this = StallRule(longestMs_); }
  /// True when the fetch is to be given up; `receivedBytes` of the body have come so far.
  [[nodiscard]] bool isBrokenAt(double receivedBytes);
  /// What the last beat gave.
  [[nodiscard]] bool isBroken() const { return isBroken_; }

 private:
  [[nodiscard]] bool isTooSlow();

  std::int64_t longestMs_;
  std::int64_t lastChangeTime_ = 0;  // seconds since the epoch; 0 before the first beat
  double lastByteCount_ = -1.0;
  std::int64_t firstBeatMs_ = -1;  // on the clock that never goes back; -1 before it
  bool isBroken_ = false;
};

}  // namespace KBL
