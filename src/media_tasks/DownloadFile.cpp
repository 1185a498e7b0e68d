#include "media_tasks/DownloadFile.h"

#include <cstdio>
#include <optional>
#include <vector>

namespace KBL {

namespace {

/// Bytes that wait in memory, and that one write brings to the disk.
constexpr std::size_t smallBytes = std::size_t{64} << 10;

constexpr const char* openError = "Image save path open error.";
constexpr const char* writeError = "Image file write error.";

/// Copies what was kept on the disk; how many bytes.
std::uint64_t copyTo(std::FILE* file, const System::FileReplacement& disk) {
  std::vector<char> buffer(smallBytes);
  std::uint64_t place = 0;
  while (const std::size_t got = disk.read(place, buffer.data(), buffer.size())) {
    place += std::fwrite(buffer.data(), 1, got, file);
    if (std::ferror(file) != 0) break;
  }
  return place;
}

}  // namespace

bool DownloadFile::expect(std::uint64_t bytes) {
  if (bytes > smallBytes) leaveMemory();
  if (!disk_) return true;
  const std::optional<std::uint64_t> room = disk_->freeBytes();
  return !room.has_value() || *room >= bytes || fail(writeError);
}

bool DownloadFile::take(const char* data, std::size_t size) {
  const bool isMuch = memory_.size() + size > smallBytes;
  if (isMuch) leaveMemory();
  if (!disk_ || !isMuch) {
    memory_.append(data, size);
    return true;
  }
  if (!flush()) return false;
  if (size >= smallBytes) return keep(data, size);
  memory_.append(data, size);
  return true;
}

void DownloadFile::leaveMemory() {
  if (disk_ || staysInMemory_) return;
  disk_ = System::FileReplacement::begin(path_);
  staysInMemory_ = disk_ == nullptr;
}

bool DownloadFile::flush() {
  const bool isKept = keep(memory_.data(), memory_.size());
  memory_.clear();
  return isKept;
}

bool DownloadFile::keep(const char* data, std::size_t size) {
  if (!disk_->append(data, size)) return fail(writeError);
  keptBytes_ += size;
  return true;
}

bool DownloadFile::fail(const char* fault) {
  fault_ = fault;
  return false;
}

bool DownloadFile::store() {
  leaveMemory();
  if (!disk_) return storeInPlace();
  if (!flush()) return false;
  switch (disk_->putInPlace()) {
    case System::FileReplacement::Outcome::done:
      return true;
    case System::FileReplacement::Outcome::lost:
      return fail(writeError);
    case System::FileReplacement::Outcome::refused:
      break;
  }
  return storeInPlace();
}

/// The target is emptied ahead of what is to fit in there. Its own bytes are room, too.
bool DownloadFile::hasRoomInPlace() const {
  const std::optional<std::uint64_t> room = disk_->freeBytes();
  return !room.has_value() || *room >= keptBytes_ ||
         *room + System::sizeOfTarget(path_).value_or(0) >= keptBytes_;
}

bool DownloadFile::storeInPlace() {
  if (disk_ && !hasRoomInPlace()) return fail(writeError);
  const System::UniqueFile file = System::openInPlace(path_);
  if (!file) return fail(openError);
  const bool isWritten = disk_ ? copyTo(file.get(), *disk_) == keptBytes_
                               : std::fwrite(memory_.data(), 1, memory_.size(), file.get()) == memory_.size();
  // Small bodies reach the disk with the flush, so that a full disk shows there.
  return (isWritten && std::fflush(file.get()) == 0) || fail(writeError);
}

void DownloadFile::drop() {
  disk_.reset();
  memory_ = {};
}

}  // namespace KBL
