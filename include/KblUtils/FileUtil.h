#pragma once

#include <KblUtils/Path.h>

#include <cstdint>
#include <cstdio>
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
  /// Brings a finished and closed file to the disk and puts it in the place of `to`, in one step, so that a
  /// power failure leaves the old contents or the whole new ones. False, with both as they were, when that
  /// fails.
  static bool moveIntoPlace(const Path& from, const Path& to);
  /// Keeps a file that others have opened from child processes; those of this library are kept anyway.
  static void keepFromChildren(std::FILE* file);
};

}  // namespace KBL
