#pragma once

#include <optional>
#include <string>

namespace host {

/// A UTF-8 text in the encoding that the system's 8-bit calls take; nothing when that lacks a letter of it.
[[nodiscard]] std::optional<std::string> inNarrowEncoding(const std::string& utf8);

}  // namespace host
