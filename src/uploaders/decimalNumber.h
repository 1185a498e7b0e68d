#pragma once

#include <cstdlib>
#include <limits>

namespace KBL {

/// The decimal number at the start of a text, cut to the range of int; a text that is no number reads as 0.
[[nodiscard]] inline int decimalNumber(const char* text) {
  const long long number = std::strtoll(text, nullptr, 10);
  if (number < std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
  if (number > std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
  return static_cast<int>(number);
}

}  // namespace KBL
