#include "media_tasks/signing.h"

#include "foundation/Texts.h"

#include <mbedtls/md.h>

#include <array>
#include <iterator>

namespace KBL {

namespace {

using Bytes = std::array<unsigned char, MBEDTLS_MD_MAX_SIZE>;

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string asText(const Bytes& bytes, const mbedtls_md_info_t* kind) {
  return {reinterpret_cast<const char*>(bytes.data()), mbedtls_md_get_size(kind)};
}

std::string hmac(mbedtls_md_type_t type, std::string_view key, std::string_view message) {
  const mbedtls_md_info_t* const kind = mbedtls_md_info_from_type(type);
  Bytes bytes{};
  const int result =
      mbedtls_md_hmac(kind, bytesOf(key), key.size(), bytesOf(message), message.size(), bytes.data());
  return result == 0 ? asText(bytes, kind) : std::string();
}

std::string hex(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char byte : bytes) writeHex(std::back_inserter(text), static_cast<unsigned char>(byte));
  return text;
}

constexpr char base64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool isUnreserved(char character) {
  return isLetterOrDigit(character) || std::string_view("-._~").find(character) != std::string_view::npos;
}

}  // namespace

std::string md5Hex(std::string_view text) {
  const mbedtls_md_info_t* const kind = mbedtls_md_info_from_type(MBEDTLS_MD_MD5);
  Bytes bytes{};
  if (mbedtls_md(kind, bytesOf(text), text.size(), bytes.data()) != 0) return {};
  return hex(asText(bytes, kind));
}

std::string hmacSha1(std::string_view key, std::string_view message) {
  return hmac(MBEDTLS_MD_SHA1, key, message);
}

std::string hmacSha256Hex(std::string_view key, std::string_view message) {
  return hex(hmac(MBEDTLS_MD_SHA256, key, message));
}

std::string percentEncoded(std::string_view text) {
  std::string encoded;
  encoded.reserve(text.size());
  for (const char character : text) {
    if (isUnreserved(character)) {
      encoded += character;
      continue;
    }
    const auto byte = static_cast<unsigned char>(character);
    encoded += '%';
    if (byte >= 0x10) encoded += upperHexDigits[byte >> 4];
    encoded += upperHexDigits[byte & 0x0F];
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
