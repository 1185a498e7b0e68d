#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sandbox {

/// The text with its secrets made unreadable: tokens that the sandbox made keep their kind and four
/// characters, so that two of them can be told apart; values of members, parameters and form fields that hold
/// secrets become "***". For addresses, JSON, URL encoded and multipart forms, whole or cut off.
[[nodiscard]] std::string maskedText(std::string_view text);
/// "GET /path HTTP/1.1" and headers, a line each. Of an Authorization the scheme stays.
[[nodiscard]] std::string maskedHead(std::string_view firstLine,
                                     const std::vector<std::pair<std::string, std::string>>& headers);
/// A head as it went over the wire, without its closing empty line.
[[nodiscard]] std::string maskedHead(std::string_view head);
/// UTF-8 for people: bytes that are none, or that are hardly text, become "[N bytes]".
[[nodiscard]] std::string readableText(std::string_view bytes);

}  // namespace sandbox
