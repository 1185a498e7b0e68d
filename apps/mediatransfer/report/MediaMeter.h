#pragma once

#include "report/Events.h"
#include "report/Progress.h"

#include <optional>
#include <string>

namespace host {

/// Shows people how far a download is: on a terminal on the last line, elsewhere by a line every ten per cent
/// or, where the size is unknown, every time that the amount has doubled. Main thread.
class MediaMeter {
 public:
  MediaMeter();
  void show(const DownloadEvent& download);
  /// Keeps rate and time left of a terminal true while nothing arrives.
  void tick();
  /// Leaves the last line as it stands and goes on below it.
  void close();

  /// "12.5 MiB, 3.1 MiB/s", for a download of unknown size.
  [[nodiscard]] static std::string amountLine(int bytes, Progress::Clock::duration elapsed);

 private:
  void draw();
  void printNews(bool isLast);

  const bool terminal_;
  const Progress::Clock::time_point start_ = Progress::Clock::now();
  std::optional<Progress> progress_;  ///< once the size is known
  int total_ = 0;
  int bytes_ = 0;
  Progress::Clock::time_point drawn_{};
  int drawnPercent_ = -1;
  bool drawnOnce_ = false;
  int printedPercent_ = -1;
  int printedBytes_ = 0;
};

}  // namespace host
