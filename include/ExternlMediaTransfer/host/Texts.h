#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KBL::host {

/// Copies `text` into a field of a record with its terminator. False, and nothing copied, for a text that
/// does not fit or that holds a zero.
template <std::size_t size>
[[nodiscard]] bool putText(std::string_view text, char (&field)[size]) {
  if (text.size() >= size || text.find('\0') != std::string_view::npos) return false;
  field[text.copy(field, text.size())] = '\0';
  return true;
}

/// Empty for null.
[[nodiscard]] inline std::string textOf(const char* text) {
  return text == nullptr ? std::string() : std::string(text);
}

/// A text field of a record, up to its terminator.
template <std::size_t size>
[[nodiscard]] std::string textIn(const char (&field)[size]) {
  const std::string_view all(field, size);
  return std::string(all.substr(0, all.find('\0')));
}

/// The same of UTF-16, as UTF-8. Half a pair becomes U+FFFD.
template <std::size_t size>
[[nodiscard]] std::string textIn(const char16_t (&field)[size]) {
  std::string text;
  const auto add = [&text](unsigned value) { text += static_cast<char>(value); };
  for (std::size_t at = 0; at < size && field[at] != 0; ++at) {
    char32_t letter = field[at];
    const bool isPair = letter >= 0xD800 && letter < 0xDC00 && at + 1 < size && field[at + 1] >= 0xDC00 &&
                        field[at + 1] < 0xE000;
    if (isPair) {
      letter = 0x10000 + ((letter - 0xD800) << 10) + (field[++at] - 0xDC00U);
    } else if (letter >= 0xD800 && letter < 0xE000) {
      letter = 0xFFFD;
    }
    if (letter < 0x80) {
      add(letter);
      continue;
    }
    if (letter >= 0x10000) {
      add(0xF0 | letter >> 18);
      add(0x80 | (letter >> 12 & 0x3F));
    } else if (letter >= 0x800) {
      add(0xE0 | letter >> 12);
    }
    add(letter < 0x800 ? 0xC0 | letter >> 6 : 0x80 | (letter >> 6 & 0x3F));
    add(0x80 | (letter & 0x3F));
  }
  return text;
}

}  // namespace KBL::host
