#include "foundation/BsNet/FileDownload.h"

#include <atomic>
#include <random>
#include <system_error>

namespace KBL {
namespace {

/// Two downloads of one file, also of two processes, must not share the part file.
std::string partSuffix() {
  static std::atomic<unsigned> counter{0};
  std::random_device random;
  return "." + std::to_string(random()) + "-" + std::to_string(counter++) + ".part";
}

std::filesystem::path pathOf(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

}  // namespace

FileDownload::FileDownload(const std::string& utf8Path)
    : target_(pathOf(utf8Path)),
      part_(pathOf(utf8Path + partSuffix())),
      stream_(part_, std::ios::binary | std::ios::trunc) {}

FileDownload::~FileDownload() {
  const bool wasOpened = !part_.empty();
  stream_.close();
  std::error_code ignored;
  if (wasOpened) std::filesystem::remove(part_, ignored);
}

bool FileDownload::onResponseData(const char* data, unsigned long long size, void*) {
  stream_.write(data, static_cast<std::streamsize>(size));
  return stream_.good();
}

bool FileDownload::complete() {
  stream_.close();
  if (stream_.fail()) return false;
  std::error_code error;
  std::filesystem::rename(part_, target_, error);
  if (error) return false;
  part_.clear();
  return true;
}

}  // namespace KBL
