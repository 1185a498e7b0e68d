#pragma once

#include "foundation/KblUtils/Path.h"

#include <cstdint>
#include <cstdio>
#include <memory>

namespace KBL {

/// Binary file input. One thread at a time.
class KBL_UTILS_API FileStream {
 public:
  FileStream();
  virtual ~FileStream();
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  /// `mode` as of fopen; a directory does not open. Closes what was open before.
  bool open(const Path& path, const char* mode);
  /// Bytes of the open file, 0 when none is open.
  std::uint64_t size();
  /// Reads on from the current place; fewer bytes than `count` only at the end or on an error.
  std::uint64_t read(char* buffer, std::uint64_t count);

 private:
  struct Close {
    void operator()(std::FILE* file) const;
  };
  std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace KBL
