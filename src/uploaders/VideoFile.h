#pragma once

#include "foundation/KblUtils/FileStream.h"

#include <cstdint>
#include <string>

namespace KBL {

/// What is wrong with a local file, as uploads report it; code 0 when nothing is.
struct FileFault {
  int code = 0;
  std::string message;
};

/// The largest file that a platform takes.
struct FileLimit {
  std::uint64_t bytes;  ///< the first size that is refused
  const char* text;     ///< as messages name it
};

/// Opens the file of an upload (UTF-8 path) and makes sure that it holds something.
[[nodiscard]] FileFault openVideoFile(const std::string& path, FileStream& file);
/// The same, and makes sure that the file is smaller than `limit`.
[[nodiscard]] FileFault openVideoFile(const std::string& path, FileStream& file, const FileLimit& limit);

}  // namespace KBL
