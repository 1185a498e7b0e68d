#include "foundation/system/System.h"
#include <KblUtils/FileUtil.h>
#include <KblUtils/StringUtil.h>

#include <exception>

namespace KBL {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t uuidBufferSize = 64;

/// A path that standard C++ cannot take (on Windows: no valid UTF-8) counts as a missing file.
template <class Result, class Operation>
Result orOnFailure(Result fallback, Operation operation) {
  try {
    return operation();
  } catch (const std::exception&) {
    return fallback;
  }
}

bool makeDirectories(const fs::path& directory) {
  std::error_code failure;
  if (fs::is_directory(directory, failure)) return true;
  const fs::path parent = directory.parent_path();
  if (!parent.empty() && parent != directory && !makeDirectories(parent)) return false;
  // Another process may make it at the same time.
  return System::createPrivateDirectory(System::utf8Text(directory.u8string())) ||
         fs::is_directory(directory, failure);
}

}  // namespace

bool FileUtil::exists(const Path& path) {
  return orOnFailure(false, [&] {
    std::error_code failure;
    return fs::exists(System::nativePath(path.string()), failure);
  });
}

bool FileUtil::remove(const Path& path) {
  return orOnFailure(false, [&] {
    std::error_code failure;
    const fs::path file = System::nativePath(path.string());
    return !fs::is_directory(file, failure) && fs::remove(file, failure);
  });
}

std::uint64_t FileUtil::size(const Path& path) {
  return orOnFailure(std::uint64_t{0}, [&] {
    std::error_code failure;
    const std::uintmax_t bytes = fs::file_size(System::nativePath(path.string()), failure);
    return failure ? std::uint64_t{0} : std::uint64_t{bytes};
  });
}

bool FileUtil::makePrivateDirectory(const Path& path) {
  return orOnFailure(false, [&] {
    const std::string normal = PathUtil::normalizeSlash(path).string();
    return !normal.empty() && makeDirectories(System::nativePath(normal));
  });
}

bool FileUtil::writePrivateFile(const Path& path, const std::string& contents) {
  return orOnFailure(false, [&] {
    char unique[uuidBufferSize] = {};
    KblGenerateUuid(unique);
    const std::string beside = path.string() + "." + unique + ".tmp";
    if (System::writeNewPrivateFile(beside, contents) && System::replaceFile(beside, path.string())) {
      return true;
    }
    remove(Path(beside));
    return false;
  });
}

bool FileUtil::moveIntoPlace(const Path& from, const Path& to) {
  return orOnFailure(false, [&] {
    return System::bringFileToDisk(from.string()) && System::replaceFile(from.string(), to.string());
  });
}

void FileUtil::keepFromChildren(std::FILE* file) {
  if (file != nullptr) System::keepFromChildren(file);
}

}  // namespace KBL
