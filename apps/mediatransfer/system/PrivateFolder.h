#pragma once

#include <filesystem>

namespace host {

/// A new folder for its owner only, among the system's temporary files; it goes with the object, and what is
/// in it.
class PrivateFolder {
 public:
  PrivateFolder();
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  /// Empty when it cannot be made.
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace host
