#pragma once

#include <string>
#include <string_view>

namespace KBL {

// What the services' signatures are made of. An empty digest means that memory ran out.

/// MD5 in lower-case hexadecimal, 32 characters.
[[nodiscard]] std::string md5Hex(std::string_view text);
/// The 20 bytes of an HMAC-SHA1.
[[nodiscard]] std::string hmacSha1(std::string_view key, std::string_view message);
/// HMAC-SHA256 in lower-case hexadecimal, 64 characters.
[[nodiscard]] std::string hmacSha256Hex(std::string_view key, std::string_view message);

/// Percent encoding of the OAuth signature: ASCII letters, digits and "-._~" stay. A byte below 0x10 is
/// written with one digit ("%A"), which is no general percent encoding; it is what the signature is made
/// with.
[[nodiscard]] std::string percentEncoded(std::string_view text);

/// Base64 with "=" padding, on one line.
[[nodiscard]] std::string base64(std::string_view bytes);

}  // namespace KBL
