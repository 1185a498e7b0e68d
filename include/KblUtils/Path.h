#pragma once

#include <KblUtils/Export.h>

#include <string>

namespace KBL {

/// A path as a value, in UTF-8.
class KBL_UTILS_API Path {
 public:
  explicit Path(std::string utf8);
  ~Path();
  Path(const Path&);
  Path(Path&&) noexcept;
  Path& operator=(const Path&);
  Path& operator=(Path&&) noexcept;

  [[nodiscard]] const std::string& string() const { return text_; }

 private:
  std::string text_;
};

/// Operations on paths that touch no file but the working directory.
class KBL_UTILS_API PathUtil {
 public:
  /// The absolute form, against the working directory, with "." and ".." resolved as text.
  static Path absolute(const Path& path);
  /// Forward slashes only, runs of them folded into one (a leading pair stays on Windows), no final one but
  /// in a root.
  static Path normalizeSlash(const Path& path);
};

}  // namespace KBL
