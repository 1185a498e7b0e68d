#include "report/Colours.h"

#include <algorithm>

namespace host {
namespace {

std::string_view startOf(Colour colour) {
  switch (colour) {
    case Colour::green:
      return "\x1b[32m";
    case Colour::yellow:
      return "\x1b[33m";
    case Colour::red:
      return "\x1b[31m";
    case Colour::bold:
      return "\x1b[1m";
  }
  return {};
}

constexpr std::string_view end = "\x1b[0m";

}  // namespace

std::string coloured(std::string_view text, Colour colour, bool wanted) {
  std::string shown(text);
  if (wanted && !text.empty()) shown.insert(0, startOf(colour)).append(end);
  return shown;
}

std::string colouredBar(const std::string& bar, bool wanted) {
  if (!bar.starts_with('[')) return bar;
  const std::size_t behind = std::min(bar.find_first_not_of('#', 1), bar.size());
  return "[" + coloured(std::string_view(bar).substr(1, behind - 1), Colour::green, wanted) +
         bar.substr(behind);
}

}  // namespace host
