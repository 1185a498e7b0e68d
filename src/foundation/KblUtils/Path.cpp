#include "foundation/system/System.h"
#include <KblUtils/Path.h>

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

/// "/" or, on Windows, "C:/".
bool isRoot(const std::string& path) {
  return path == "/" || (path.size() == 3 && path[1] == ':' && path[2] == '/');
}

std::string withoutFinalSlash(std::string path) {
  if (path.ends_with('/') && !isRoot(path)) path.pop_back();
  return path;
}

}  // namespace

Path PathUtil::absolute(const Path& path) {
  try {
    std::error_code failure;
    const std::filesystem::path given = System::nativePath(path.string());
    const std::filesystem::path whole = std::filesystem::absolute(given, failure);
    return Path(
        withoutFinalSlash(System::utf8Text((failure ? given : whole).lexically_normal().generic_u8string())));
  } catch (const std::exception&) {
    return path;  // a text that is no path on this system
  }
}

Path PathUtil::normalizeSlash(const Path& path) {
  std::string text;
  for (char letter : path.string()) {
    if (letter == '\\') letter = '/';
    const bool leading = text.size() == 1 && System::leadingSlashes() == 2;
    if (letter == '/' && text.ends_with('/') && !leading) continue;
    text += letter;
  }
  return Path(withoutFinalSlash(std::move(text)));
}

}  // namespace KBL
