#include "foundation/system/System.h"
#include <KblUtils/FileStream.h>

#include <exception>

namespace KBL {

void FileStream::Close::operator()(std::FILE* file) const {
  (void)std::fclose(file);
}

FileStream::FileStream() = default;

FileStream::~FileStream() = default;

bool FileStream::open(const Path& path, const char* mode) {
  file_.reset();
  if (mode == nullptr) return false;
  try {
    file_.reset(System::openFile(path.string(), mode).release());
  } catch (const std::exception&) {
    return false;
  }
  return file_ != nullptr;
}

std::uint64_t FileStream::size() {
  return file_ == nullptr ? 0 : System::fileSize(file_.get());
}

bool FileStream::seek(std::uint64_t place) {
  return file_ != nullptr && System::seekFile(file_.get(), place);
}

bool FileStream::write(const char* data, std::uint64_t count) {
  if (file_ == nullptr || data == nullptr) return false;
  return std::fwrite(data, 1, static_cast<std::size_t>(count), file_.get()) == count;
}

bool FileStream::close() {
  return file_ != nullptr && std::fclose(file_.release()) == 0;
}

std::uint64_t FileStream::read(char* buffer, std::uint64_t count) {
  if (file_ == nullptr || buffer == nullptr) return 0;
  return std::fread(buffer, 1, static_cast<std::size_t>(count), file_.get());
}

}  // namespace KBL
