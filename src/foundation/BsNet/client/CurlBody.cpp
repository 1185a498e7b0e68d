#include "foundation/BsNet/client/CurlBody.h"

#include "foundation/BsNet/client/hostAnswer.h"
#include "foundation/system/NetworkSystem.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <utility>

namespace KBL {

void CurlBody::assign(std::string bytes) {
  bytes_ = std::move(bytes);
  source_ = nullptr;
  size_ = static_cast<curl_off_t>(bytes_.size());
  rewind();
}

void CurlBody::assign(IBodySource* source, unsigned long long size) {
  assign(std::string());
  source_ = source;
  constexpr unsigned long long largest = std::numeric_limits<curl_off_t>::max();
  size_ = source == nullptr ? 0 : static_cast<curl_off_t>(std::min(size, largest));
}

const char* CurlBody::small() const {
  // What libcurl sends over TLS at once.
  constexpr curl_off_t limit = 16 << 10;
  return source_ == nullptr && size_ <= limit ? bytes_.c_str() : nullptr;
}

void CurlBody::rewind() {
  offset_ = 0;
  isCut_ = false;
  packed_ = CURL_SOCKET_BAD;
}

void CurlBody::restart(curl_socket_t packed) {
  offset_ = 0;
  packed_ = packed;
  if (packed_ != CURL_SOCKET_BAD) System::holdBack(packed_, false);  // the request's head
}

bool CurlBody::copyOut(char* buffer, std::size_t count) {
  if (source_ == nullptr) return bytes_.copy(buffer, count, static_cast<std::size_t>(offset_)) == count;
  const auto offset = static_cast<unsigned long long>(offset_);
  return hostAnswer(false, "the source of a body", [&] { return source_->readBody(offset, buffer, count); });
}

std::size_t CurlBody::read(char* buffer, std::size_t size, std::size_t count, void* self) {
  auto& body = *static_cast<CurlBody*>(self);
  const auto bytes =
      static_cast<std::size_t>(std::min(static_cast<curl_off_t>(size * count), body.size_ - body.offset_));
  if (bytes == 0) return 0;
  if (!body.copyOut(buffer, bytes)) {
    body.isCut_ = true;
    return CURL_READFUNC_ABORT;
  }
  const bool isFirst = body.offset_ == 0;
  body.offset_ += static_cast<curl_off_t>(bytes);
  const bool isLast = body.offset_ == body.size_;
  if (body.packed_ != CURL_SOCKET_BAD && isFirst != isLast) System::holdBack(body.packed_, isFirst);
  return bytes;
}

int CurlBody::seek(void* self, curl_off_t offset, int origin) {
  auto& body = *static_cast<CurlBody*>(self);
  if (origin != SEEK_SET || offset < 0 || offset > body.size_) return CURL_SEEKFUNC_FAIL;
  body.offset_ = offset;
  return CURL_SEEKFUNC_OK;
}

}  // namespace KBL
