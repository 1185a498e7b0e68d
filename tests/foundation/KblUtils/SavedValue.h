#pragma once

#include <cstdlib>
#include <string>

/// The value that save number `number` stores: some kilobytes, every byte of which tells the number.
inline std::string savedValue(long number) {
  const auto letter = static_cast<char>('a' + number % 26);
  const auto length = static_cast<std::size_t>(2000 + number % 7 * 5000);
  return std::to_string(number) + ":" + std::string(length, letter);
}

/// The number of a whole saved value, -1 for anything else.
inline long numberOfSavedValue(const std::string& value) {
  const long number = std::strtol(value.c_str(), nullptr, 10);
  return value == savedValue(number) ? number : -1;
}
