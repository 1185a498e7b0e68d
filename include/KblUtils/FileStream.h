#pragma once

#include <KblUtils/Path.h>

#include <cstdint>
#include <cstdio>
#include <memory>

namespace KBL {

/// A binary file. One thread at a time.
class KBL_UTILS_API FileStream {
 public:
  FileStream();
  virtual ~FileStream();
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  /// `mode` as of fopen; directories, pipes and the devices of Windows do not open, and child processes do
  /// not inherit the file. Closes what was open before.
  bool open(const Path& path, const char* mode);
  /// Bytes of the open file, 0 when none is open.
  std::uint64_t size();
  /// Reads on from the current place; fewer bytes than `count` only at the end or on an error.
  std::uint64_t read(char* buffer, std::uint64_t count);
  /// False when less than all of it was written.
  [[nodiscard]] bool write(const char* data, std::uint64_t count);
  /// False when something that `write` took could not be brought to the file, or none is open.
  [[nodiscard]] bool close();
  /// Goes to a place counted from the beginning, which may lie behind the end. False when none is open.
  bool seek(std::uint64_t place);

 private:
  struct Close {
    void operator()(std::FILE* file) const;
  };
  std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace KBL
