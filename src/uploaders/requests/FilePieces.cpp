#include "uploaders/requests/FilePieces.h"

#include <algorithm>
#include <limits>
#include <string>

namespace KBL {

namespace {
/// Where a file stands that could not be moved.
constexpr std::uint64_t nowhere = std::numeric_limits<std::uint64_t>::max();
}  // namespace

FilePieces::FilePieces(FileStream& file, INetworkClient& client)
    : file_(file), client_(client), reader_(bodySourceClient(&client)) {}

FilePieces::~FilePieces() {
  if (reader_ != nullptr) reader_->setBodySource(nullptr, 0);
}

std::uint64_t FilePieces::moveTo(std::uint64_t offset, std::uint64_t size) {
  const std::uint64_t there = available(offset, size);
  if (there == 0) return 0;
  begin_ = offset;
  size_ = there;
  isCut_ = false;
  return size_;
}

std::uint64_t FilePieces::available(std::uint64_t offset, std::uint64_t size) {
  if (reader_ == nullptr) {
    buffer_.resize(std::max<std::uint64_t>(buffer_.size(), size));
    return file_.read(buffer_.data(), size);
  }
  const std::uint64_t end = file_.size();
  return std::min(size, end > offset ? end - offset : 0);
}

void FilePieces::give() {
  if (reader_ != nullptr) {
    reader_->setBodySource(this, size_);
  } else {
    client_.setBody(std::string(buffer_.data(), size_));
  }
}

bool FilePieces::readBody(unsigned long long offset, char* buffer, unsigned long long count) {
  const std::uint64_t wanted = begin_ + offset;
  const bool isThere = place_ == wanted || file_.seek(wanted);
  const std::uint64_t read = isThere ? file_.read(buffer, count) : 0;
  place_ = isThere ? wanted + read : nowhere;
  isCut_ = read != count;
  return !isCut_;
}

void ChunkBody::giveTo(INetworkClient& client) const {
  if (pieces_ != nullptr) {
    pieces_->give();
  } else {
    client.setBody(std::string(bytes_));
  }
}

}  // namespace KBL
