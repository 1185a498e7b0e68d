#include "report/MediaMeter.h"

#include "report/Colours.h"
#include "system/Terminal.h"

#include <iostream>

namespace host {
namespace {

/// A terminal is drawn anew no more often than this, but for every full per cent.
constexpr std::chrono::milliseconds betweenDrawings(200);
/// The first line of a download of unknown size.
constexpr int firstAmount = 1 << 20;

}  // namespace

MediaMeter::MediaMeter() : terminal_(outputIsTerminal()) {}

std::string MediaMeter::amountLine(int bytes, Progress::Clock::duration elapsed) {
  std::string line = amountText(bytes);
  const double seconds = std::chrono::duration<double>(elapsed).count();
  if (seconds > 0 && bytes > 0) line += ", " + amountText(bytes / seconds) + "/s";
  return line;
}

void MediaMeter::show(const DownloadEvent& download) {
  bytes_ = download.bytes;
  if (download.total != total_) {
    // Behind a redirection the size is another one.
    total_ = download.total;
    progress_.reset();
    if (total_ > 0) progress_.emplace(static_cast<std::uint64_t>(total_), start_);
  }
  if (progress_) {
    const long long percent = static_cast<long long>(bytes_) * 100 / total_;
    progress_->advance(download.finished ? 100 : static_cast<int>(percent));
  }
  if (!terminal_) return printNews(download.finished);
  const bool isNews = progress_ && progress_->percent() != drawnPercent_;
  if (isNews || download.finished || Progress::Clock::now() - drawn_ >= betweenDrawings) draw();
}

void MediaMeter::tick() {
  if (drawnOnce_ && Progress::Clock::now() - drawn_ >= betweenDrawings) draw();
}

void MediaMeter::close() {
  if (drawnOnce_) std::cout << std::endl;
  drawnOnce_ = false;
}

void MediaMeter::draw() {
  drawn_ = Progress::Clock::now();
  drawnOnce_ = true;
  drawnPercent_ = progress_ ? progress_->percent() : -1;
  const std::string line =
      progress_ ? colouredBar(progress_->bar(drawn_, terminalWidth() - 1), outputTakesColours())
                : amountLine(bytes_, drawn_ - start_);
  std::cout << "\r\x1b[K" << line << std::flush;
}

void MediaMeter::printNews(bool isLast) {
  const Progress::Clock::time_point now = Progress::Clock::now();
  if (progress_) {
    const int percent = progress_->percent();
    const bool isNews = printedPercent_ < 0 || percent / 10 != printedPercent_ / 10;
    if (!isNews) return;
    printedPercent_ = percent;
    std::cout << progress_->line(now) << std::endl;
    return;
  }
  const bool hasDoubled = bytes_ >= firstAmount && bytes_ / 2 >= printedBytes_;
  if (bytes_ == printedBytes_ || !(hasDoubled || isLast)) return;
  printedBytes_ = bytes_;
  std::cout << amountLine(bytes_, now - start_) << std::endl;
}

}  // namespace host
