#pragma once
#include <filesystem>
#include <string>

namespace sandbox {

// The standard library's form of a UTF-8 path.
[[nodiscard]] inline std::filesystem::path nativePath(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

[[nodiscard]] inline std::string utf8Of(const std::filesystem::path& path) {
  const std::u8string text = path.generic_u8string();
  return {text.begin(), text.end()};
}

}  // namespace sandbox
