// Paths, file tests and binary files, for systems of POSIX.
#include <KblUtils/FileStream.h>
#include <KblUtils/FileUtil.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

namespace KBL {

namespace fs = std::filesystem;

Path::Path(std::string utf8) : text_(std::move(utf8)) {}
Path::~Path() = default;
Path::Path(const Path&) = default;
Path::Path(Path&&) noexcept = default;
Path& Path::operator=(const Path&) = default;
Path& Path::operator=(Path&&) noexcept = default;

Path PathUtil::absolute(const Path& path) {
  std::error_code failure;
  const fs::path whole = fs::absolute(path.string(), failure);
  return normalizeSlash(Path((failure ? fs::path(path.string()) : whole).lexically_normal().string()));
}

Path PathUtil::normalizeSlash(const Path& path) {
  std::string text;
  for (char letter : path.string()) {
    if (letter == '\\') letter = '/';
    if (letter != '/' || text.empty() || text.back() != '/') text += letter;
  }
  if (text.size() > 1 && text.back() == '/') text.pop_back();
  return Path(std::move(text));
}

bool FileUtil::exists(const Path& path) {
  std::error_code failure;
  return fs::exists(path.string(), failure);
}

bool FileUtil::remove(const Path& path) {
  std::error_code failure;
  return !fs::is_directory(path.string(), failure) && fs::remove(path.string(), failure);
}

std::uint64_t FileUtil::size(const Path& path) {
  std::error_code failure;
  const std::uintmax_t bytes = fs::file_size(path.string(), failure);
  return failure ? 0 : bytes;
}

bool FileUtil::makePrivateDirectory(const Path& path) {
  std::error_code failure;
  if (path.string().empty()) return false;
  if (fs::is_directory(path.string(), failure)) return true;
  const std::string parent = fs::path(path.string()).parent_path().string();
  if (!parent.empty() && parent != path.string() && !makePrivateDirectory(Path(parent))) return false;
  return mkdir(path.string().c_str(), 0700) == 0 || fs::is_directory(path.string(), failure);
}

void FileStream::Close::operator()(std::FILE* file) const {
  (void)std::fclose(file);
}

FileStream::FileStream() = default;
FileStream::~FileStream() = default;

bool FileStream::open(const Path& path, const char* mode) {
  file_.reset();
  if (mode == nullptr) return false;
  const std::string kept = std::string(mode) + "e";  // not for child processes
  std::unique_ptr<std::FILE, Close> file(std::fopen(path.string().c_str(), kept.c_str()));
  struct stat facts {};
  if (!file || fstat(fileno(file.get()), &facts) != 0 || !S_ISREG(facts.st_mode)) return false;
  file_ = std::move(file);
  return true;
}

std::uint64_t FileStream::size() {
  struct stat facts {};
  if (!file_ || std::fflush(file_.get()) != 0 || fstat(fileno(file_.get()), &facts) != 0) return 0;
  return static_cast<std::uint64_t>(facts.st_size);
}

std::uint64_t FileStream::read(char* buffer, std::uint64_t count) {
  return file_ && buffer != nullptr ? std::fread(buffer, 1, count, file_.get()) : 0;
}

bool FileStream::write(const char* data, std::uint64_t count) {
  return file_ && data != nullptr && std::fwrite(data, 1, count, file_.get()) == count;
}

bool FileStream::close() {
  return file_ && std::fclose(file_.release()) == 0;
}

bool FileStream::seek(std::uint64_t place) {
  return file_ && fseeko(file_.get(), static_cast<off_t>(place), SEEK_SET) == 0;
}

}  // namespace KBL
