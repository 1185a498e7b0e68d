#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sandbox {

/// ASCII only, as HTTP compares header names.
[[nodiscard]] bool equalIgnoringCase(std::string_view left, std::string_view right);
[[nodiscard]] std::string percentEncoded(std::string_view text);
/// '+' is a blank, as in queries and forms; a '%' without two hex digits stays.
[[nodiscard]] std::string percentDecoded(std::string_view text);
/// "a=1&b=2" in order, decoded.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> parseForm(std::string_view text);
/// Characters of UTF-8, in which the services count their limits.
[[nodiscard]] std::size_t characterCount(std::string_view text);
[[nodiscard]] std::string htmlEscaped(std::string_view text);
/// Letters and digits nobody can guess, from the system's source of randomness.
[[nodiscard]] std::string randomText(std::size_t length);
/// As long a number, without a zero in front.
[[nodiscard]] std::string randomDigits(std::size_t length);
/// Whole decimal number without sign; false for anything else.
[[nodiscard]] bool parseNumber(std::string_view text, unsigned long long& number);
/// Two lower-case hexadecimal digits a byte.
[[nodiscard]] std::string hexText(std::string_view bytes);
[[nodiscard]] std::string base64(std::string_view bytes);
/// The alphabet of addresses, without padding.
[[nodiscard]] std::string base64Url(std::string_view bytes);
/// Nothing for text that is no padded base64.
[[nodiscard]] std::optional<std::string> base64Decoded(std::string_view text);

}  // namespace sandbox
