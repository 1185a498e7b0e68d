#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace host {

[[nodiscard]] inline std::filesystem::path pathFromUtf8(const std::string& text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

[[nodiscard]] inline std::string utf8FromPath(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

/// A UTF-8 text in the encoding that the system's 8-bit calls take; nothing when that lacks a letter of it.
[[nodiscard]] std::optional<std::string> inNarrowEncoding(const std::string& utf8);

}  // namespace host
