#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace host {

/// "12.5 MiB", in the largest unit of which it has one.
[[nodiscard]] std::string amountText(double bytes);

/// How far an upload is. Bytes, rate and time left are reckoned from the percentage, which is all that the
/// library tells.
class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  Progress(std::uint64_t totalBytes, Clock::time_point start);
  void advance(int percent);

  [[nodiscard]] int percent() const { return percent_; }
  [[nodiscard]] std::uint64_t bytes() const;
  /// Bytes a second since the start; 0 while nothing can be said.
  [[nodiscard]] double rate(Clock::time_point now) const;
  /// Negative while nothing can be said.
  [[nodiscard]] std::chrono::seconds left(Clock::time_point now) const;

  /// "[#####-----]  50%  12.5/25.0 MiB  3.1 MiB/s  0:04 left" in at most `width` columns.
  [[nodiscard]] std::string bar(Clock::time_point now, int width) const;
  /// "50% of 25.0 MiB, 3.1 MiB/s, 0:04 left"
  [[nodiscard]] std::string line(Clock::time_point now) const;

 private:
  std::uint64_t totalBytes_;
  Clock::time_point start_;
  int percent_ = 0;
};

}  // namespace host
