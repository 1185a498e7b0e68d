#pragma once

#include "report/Progress.h"
#include "report/Report.h"

#include <cstdint>
#include <string>

namespace host {

/// Shows people how far an album is: on a terminal on the last line, elsewhere by a line every ten per cent
/// of what is to be fetched. Main thread.
class FetchMeter {
 public:
  explicit FetchMeter(const FetchCount& count);

  /// Another one has come, or failed.
  void countOne();
  void setBytes(std::uint64_t bytes) { bytes_ = bytes; }
  /// Draws a terminal's line anew, if it is time.
  void tick();
  /// Takes the line away, so that another one can stand there.
  void wipe();

  /// "[####----] 12/137  3.4 MiB  1.2 MiB/s" in at most `width` columns.
  [[nodiscard]] static std::string bar(int done, int wanted, std::uint64_t bytes,
                                       Progress::Clock::duration elapsed, int width);

 private:
  const bool terminal_;
  const int wanted_;
  const Progress::Clock::time_point start_ = Progress::Clock::now();
  Progress::Clock::time_point drawn_{};
  std::uint64_t bytes_ = 0;
  int done_ = 0;
  int printedTenths_ = 0;
  bool isShown_ = false;
};

}  // namespace host
