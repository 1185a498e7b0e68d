#pragma once

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

namespace KBL {

// What every room does with texts. Letters are those of ASCII, whatever the locale of the process.

/// The text, an empty one in place of null. Needs no memory, as the next one does not.
[[nodiscard]] constexpr const char* textOrEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

[[nodiscard]] constexpr bool hasText(const char* text) {
  return *textOrEmpty(text) != '\0';
}

[[nodiscard]] constexpr char lowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

[[nodiscard]] inline std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char letter) { return lowerCase(letter); });
  return lower;
}

/// True when `text` reads like `lower`, which is in lower case.
[[nodiscard]] constexpr bool readsLike(std::string_view text, std::string_view lower) {
  return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                    [](char letter, char wanted) { return lowerCase(letter) == wanted; });
}

[[nodiscard]] constexpr bool isDigit(char letter) {
  return letter >= '0' && letter <= '9';
}

[[nodiscard]] constexpr bool isLetterOrDigit(char letter) {
  const char lower = lowerCase(letter);
  return isDigit(letter) || (lower >= 'a' && lower <= 'z');
}

inline constexpr std::string_view hexDigits = "0123456789abcdef";
inline constexpr std::string_view upperHexDigits = "0123456789ABCDEF";

/// What a hexadecimal digit stands for, -1 for any other letter.
[[nodiscard]] constexpr int hexValue(char digit) {
  const std::size_t value = hexDigits.find(lowerCase(digit));
  return value == std::string_view::npos ? -1 : static_cast<int>(value);
}

/// The decimal number at the start of a text, cut to the range of int; a text that is no number reads as 0.
[[nodiscard]] inline int decimalNumber(const char* text) {
  const long long number = std::strtoll(text, nullptr, 10);
  if (number < std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
  if (number > std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
  return static_cast<int>(number);
}

/// Writes a byte as two hexadecimal digits to `out`, which is a place in a text or one that appends to it.
template <class Out>
constexpr Out writeHex(Out out, unsigned char byte, std::string_view digits = hexDigits) {
  *out++ = digits[byte >> 4];
  *out++ = digits[byte & 0x0F];
  return out;
}

}  // namespace KBL
