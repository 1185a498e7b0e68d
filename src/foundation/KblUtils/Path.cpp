#include "foundation/KblUtils/Path.h"

#include "foundation/KblUtils/system/System.h"

#include <exception>
#include <utility>

namespace KBL {

Path::Path(std::string utf8) : text_(std::move(utf8)) {}
Path::~Path() = default;
Path::Path(const Path&) = default;
Path::Path(Path&&) noexcept = default;
Path& Path::operator=(const Path&) = default;
Path& Path::operator=(Path&&) noexcept = default;

namespace {

std::string utf8Of(const std::filesystem::path& path) {
  const std::u8string text = path.generic_u8string();
  return std::string(text.begin(), text.end());
}

/// "/" or, on Windows, "C:/".
bool isRoot(const std::string& path) {
  return path == "/" || (path.size() == 3 && path[1] == ':' && path[2] == '/');
}

std::string withoutFinalSlash(std::string path) {
  if (path.ends_with('/') && !isRoot(path)) path.pop_back();
  return path;
}

#if defined(_WIN32)
constexpr std::size_t leadingSlashesKept = 2;  // "//server/share"
#else
constexpr std::size_t leadingSlashesKept = 1;
#endif

}  // namespace

Path PathUtil::absolute(const Path& path) {
  try {
    std::error_code failure;
    const std::filesystem::path given = System::nativePath(path.string());
    const std::filesystem::path whole = std::filesystem::absolute(given, failure);
    return Path(withoutFinalSlash(utf8Of((failure ? given : whole).lexically_normal())));
  } catch (const std::exception&) {
    return path;  // a text that is no path on this system
  }
}

Path PathUtil::normalizeSlash(const Path& path) {
  std::string text;
  for (char letter : path.string()) {
    if (letter == '\\') letter = '/';
    const bool leading = text.size() == 1 && leadingSlashesKept == 2;
    if (letter == '/' && text.ends_with('/') && !leading) continue;
    text += letter;
  }
  return Path(withoutFinalSlash(std::move(text)));
}

}  // namespace KBL
