#include "report/Progress.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace host {
namespace {

std::string formatted(const char* pattern, double value) {
  std::array<char, 64> text{};
  (void)std::snprintf(text.data(), text.size(), pattern, value);
  return text.data();
}

struct Unit {
  double bytes;
  const char* name;
  const char* pattern;  ///< of a number of them
};

Unit unitFor(double bytes) {
  constexpr double kibi = 1024.0;
  if (bytes >= kibi * kibi * kibi) return {kibi * kibi * kibi, "GiB", "%.1f"};
  if (bytes >= kibi * kibi) return {kibi * kibi, "MiB", "%.1f"};
  if (bytes >= kibi) return {kibi, "KiB", "%.1f"};
  return {1, "B", "%.0f"};
}

std::string clockText(std::chrono::seconds time) {
  const long long seconds = time.count();
  std::array<char, 48> text{};
  if (seconds >= 3600) {
    (void)std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60,
                        seconds % 60);
  } else {
    (void)std::snprintf(text.data(), text.size(), "%lld:%02lld", seconds / 60, seconds % 60);
  }
  return text.data();
}

}  // namespace

std::string amountText(double bytes) {
  const Unit unit = unitFor(bytes);
  return formatted(unit.pattern, bytes / unit.bytes) + " " + unit.name;
}

Progress::Progress(std::uint64_t totalBytes, Clock::time_point start)
    : totalBytes_(totalBytes), start_(start) {}

void Progress::advance(int percent) {
  percent_ = std::clamp(percent, 0, 100);
}

std::uint64_t Progress::bytes() const {
  return percent_ == 100 ? totalBytes_
                         : static_cast<std::uint64_t>(static_cast<double>(totalBytes_) * percent_ / 100.0);
}

double Progress::rate(Clock::time_point now) const {
  const std::chrono::duration<double> elapsed = now - start_;
  return elapsed.count() <= 0 ? 0 : static_cast<double>(bytes()) / elapsed.count();
}

std::chrono::seconds Progress::left(Clock::time_point now) const {
  const double bytesPerSecond = rate(now);
  if (bytesPerSecond <= 0) return std::chrono::seconds(-1);
  const double seconds = static_cast<double>(totalBytes_ - bytes()) / bytesPerSecond;
  constexpr double longest = 359999;  // 99:59:59
  return std::chrono::seconds(static_cast<long long>(std::min(seconds + 0.5, longest)));
}

std::string Progress::bar(Clock::time_point now, int width) const {
  const auto total = static_cast<double>(totalBytes_);
  const Unit unit = unitFor(total);
  std::string figures = formatted("%3.0f%%  ", percent_) +
                        formatted(unit.pattern, static_cast<double>(bytes()) / unit.bytes) + "/" +
                        formatted(unit.pattern, total / unit.bytes) + " " + unit.name;
  if (const double bytesPerSecond = rate(now); bytesPerSecond > 0) {
    figures += "  " + amountText(bytesPerSecond) + "/s";
    if (percent_ < 100) figures += "  " + clockText(left(now)) + " left";
  }
  const int room = std::min(40, width - static_cast<int>(figures.size()) - 4);
  if (room < 5) return figures.substr(0, static_cast<std::size_t>(std::max(width, 0)));
  const auto filled = static_cast<std::size_t>(room * percent_ / 100);
  return "[" + std::string(filled, '#') + std::string(static_cast<std::size_t>(room) - filled, '-') + "] " +
         figures;
}

std::string Progress::line(Clock::time_point now) const {
  std::string text = std::to_string(percent_) + "% of " + amountText(static_cast<double>(totalBytes_));
  if (const double bytesPerSecond = rate(now); bytesPerSecond > 0) {
    text += ", " + amountText(bytesPerSecond) + "/s";
    if (percent_ < 100) text += ", " + clockText(left(now)) + " left";
  }
  return text;
}

}  // namespace host
