#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <string>

/// How often a file of SQLite was written: SQLite counts it at this place of its head.
inline std::uint32_t writesOf(const std::string& path) {
  std::array<unsigned char, 4> digits{};
  std::ifstream file(path, std::ios::binary);
  file.seekg(24);
  file.read(reinterpret_cast<char*>(digits.data()), digits.size());
  std::uint32_t count = 0;
  for (const unsigned char digit : digits) count = count << 8 | digit;
  return count;
}
