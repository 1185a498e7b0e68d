#include "media_tasks/digest.h"

#include <mbedtls/md.h>

#include <array>

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
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += digits[value >> 4];
    text += digits[value & 0x0F];
  }
  return text;
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

}  // namespace KBL
