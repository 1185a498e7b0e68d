#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

/// A new empty directory, removed with all its contents at the end.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  /// The UTF-8 path of an entry in it.
  [[nodiscard]] std::string file(const std::string& name) const;
  /// Makes or replaces a file in it; returns its path.
  std::string write(const std::string& name, const std::string& contents) const;
  /// The contents of a file in it, empty when it is not there.
  [[nodiscard]] std::string read(const std::string& name) const;
  /// How many entries it has.
  [[nodiscard]] std::size_t entries() const;

 private:
  std::filesystem::path path_;
};
