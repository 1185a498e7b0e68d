#pragma once

#include "foundation/KblUtils/Path.h"

#include <cstdint>
#include <string>

namespace KBL {

/// File tests. None of them throws.
class KBL_UTILS_API FileUtil {
 public:
  static bool exists(const Path& path);
  /// True when the file was there and is gone now.
  static bool remove(const Path& path);
  /// Bytes; 0 for a missing file.
  static std::uint64_t size(const Path& path);
  /// Makes the directory and its missing parents with mode 0700. True when it stands afterwards.
  static bool makePrivateDirectory(const Path& path);
  /// Writes a file for its owner only, replacing it as a whole: an interrupted write leaves the old contents.
  static bool writePrivateFile(const Path& path, const std::string& contents);
};

}  // namespace KBL
