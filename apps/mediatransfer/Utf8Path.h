#pragma once

#include <filesystem>
#include <string>

namespace host {

[[nodiscard]] inline std::filesystem::path pathFromUtf8(const std::string& text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

[[nodiscard]] inline std::string utf8FromPath(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

}  // namespace host
