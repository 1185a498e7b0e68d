#include "media_tasks/encoding.h"

namespace KBL {

namespace {

constexpr char base64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool isUnreserved(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') ||
         std::string_view("-._~").find(character) != std::string_view::npos;
}

}  // namespace

std::string percentEncoded(std::string_view text) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size());
  for (const char character : text) {
    if (isUnreserved(character)) {
      encoded += character;
      continue;
    }
    const auto byte = static_cast<unsigned char>(character);
    encoded += '%';
    if (byte >= 0x10) encoded += digits[byte >> 4];
    encoded += digits[byte & 0x0F];
  }
  return encoded;
}

std::string base64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t place = 0; place < bytes.size(); place += 3) {
    const std::string_view group = bytes.substr(place, 3);
    unsigned bits = 0;
    for (std::size_t index = 0; index < 3; ++index) {
      bits = (bits << 8) | (index < group.size() ? static_cast<unsigned char>(group[index]) : 0U);
    }
    for (std::size_t index = 0; index < 4; ++index) {
      const bool isPadding = index > group.size();
      text += isPadding ? '=' : base64Alphabet[(bits >> (18 - 6 * index)) & 0x3F];
    }
  }
  return text;
}

}  // namespace KBL
