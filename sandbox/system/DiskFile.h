#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

/// Where the sandbox meets the disk. Paths are UTF-8.
namespace sandbox {

/// The standard library's form of a UTF-8 path.
[[nodiscard]] inline std::filesystem::path nativePath(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

[[nodiscard]] inline std::string utf8Of(const std::filesystem::path& path) {
  const std::u8string text = path.generic_u8string();
  return {text.begin(), text.end()};
}

/// All of a file, nothing when it doesn't open.
[[nodiscard]] std::optional<std::string> contentsOf(const std::string& path);
/// Makes a file that others may read, or replaces its contents. Throws std::runtime_error when that fails.
void writeFile(const std::string& path, const std::string& text);

/// Makes the file where it isn't there and holds its lock against other processes until the end of the scope.
/// Throws std::runtime_error when the file doesn't open.
class FileLock {
 public:
  explicit FileLock(const std::string& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  const std::intptr_t handle_;
};

/// Makes an empty file for its owner alone where there is none. A file that is there is not even opened.
/// Throws std::runtime_error when that fails.
void makeForOwner(const std::string& path);

}  // namespace sandbox
