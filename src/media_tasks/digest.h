#pragma once

#include <string>
#include <string_view>

namespace KBL {

// The digests that the services' signatures are made of. An empty result means that memory ran out.

/// MD5 in lower-case hexadecimal, 32 characters.
[[nodiscard]] std::string md5Hex(std::string_view text);
/// The 20 bytes of an HMAC-SHA1.
[[nodiscard]] std::string hmacSha1(std::string_view key, std::string_view message);
/// HMAC-SHA256 in lower-case hexadecimal, 64 characters.
[[nodiscard]] std::string hmacSha256Hex(std::string_view key, std::string_view message);

}  // namespace KBL
