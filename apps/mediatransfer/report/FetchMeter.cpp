#include "report/FetchMeter.h"

#include "report/Colours.h"
#include "system/Terminal.h"

#include <algorithm>
#include <iostream>

namespace host {
namespace {

constexpr std::chrono::milliseconds betweenDrawings(200);

std::string rateText(std::uint64_t bytes, Progress::Clock::duration elapsed) {
  const double seconds = std::chrono::duration<double>(elapsed).count();
  return bytes == 0 || seconds <= 0 ? std::string() : amountText(static_cast<double>(bytes) / seconds) + "/s";
}

}  // namespace

FetchMeter::FetchMeter(const FetchCount& count) : terminal_(outputIsTerminal()), wanted_(count.wanted) {}

std::string FetchMeter::bar(int done, int wanted, std::uint64_t bytes, Progress::Clock::duration elapsed,
                            int width) {
  constexpr std::size_t shortestBar = 6;
  constexpr std::size_t longestBar = 40;
  const std::size_t room = static_cast<std::size_t>(std::max(width, 0));
  std::string text = std::to_string(done) + "/" + std::to_string(wanted);
  for (const std::string& part : {amountText(static_cast<double>(bytes)), rateText(bytes, elapsed)}) {
    if (!part.empty() && text.size() + 2 + part.size() <= room) text += "  " + part;
  }
  if (text.size() + shortestBar + 3 > room) return text.substr(0, room);
  const std::size_t cells = std::min(room - text.size() - 3, longestBar);
  const std::size_t full =
      wanted > 0 ? cells * static_cast<std::size_t>(done) / static_cast<std::size_t>(wanted) : cells;
  return "[" + std::string(full, '#') + std::string(cells - full, '-') + "] " + text;
}

void FetchMeter::countOne() {
  ++done_;
  if (terminal_) return;
  const int tenths = done_ * 10 / std::max(wanted_, 1);
  if (tenths == printedTenths_) return;
  printedTenths_ = tenths;
  std::cout << done_ << " of " << wanted_ << " done, " << amountText(static_cast<double>(bytes_))
            << std::endl;
}

void FetchMeter::tick() {
  const auto now = Progress::Clock::now();
  if (!terminal_ || now - drawn_ < betweenDrawings) return;
  drawn_ = now;
  std::cout << "\r\x1b[K"
            << colouredBar(bar(done_, wanted_, bytes_, now - start_, terminalWidth() - 1),
                           outputTakesColours())
            << std::flush;
  isShown_ = true;
}

void FetchMeter::wipe() {
  if (isShown_) std::cout << "\r\x1b[K" << std::flush;
  isShown_ = false;
  drawn_ = {};
}

}  // namespace host
