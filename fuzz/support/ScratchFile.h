#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

/// A file for one input after the other, in a folder of its own, which goes with it. In memory where the
/// system has such a place, since each input is written.
class ScratchFile {
 public:
  ScratchFile();
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  /// Replaces the file, and removes what else came to lie in the folder.
  void write(const std::uint8_t* data, std::size_t size) const;
  [[nodiscard]] std::filesystem::path path() const { return folder_ / "file"; }

 private:
  std::filesystem::path folder_;
};
