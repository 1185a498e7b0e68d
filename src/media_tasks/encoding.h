#pragma once

#include <string>
#include <string_view>

namespace KBL {

/// Percent encoding of the OAuth signature: ASCII letters, digits and "-._~" stay. A byte below 0x10 is
/// written with one digit ("%A"), which is no general percent encoding; it is what the signature is made
/// with.
[[nodiscard]] std::string percentEncoded(std::string_view text);

/// Base64 with "=" padding, on one line.
[[nodiscard]] std::string base64(std::string_view bytes);

}  // namespace KBL
