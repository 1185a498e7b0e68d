#include "foundation/BsNet/CurlBody.h"

#include <algorithm>
#include <cstdio>

namespace KBL {

std::size_t CurlBody::read(char* buffer, std::size_t size, std::size_t count, void* self) {
  auto& body = *static_cast<CurlBody*>(self);
  const std::size_t bytes = std::min(size * count, body.bytes_.size() - body.offset_);
  body.bytes_.copy(buffer, bytes, body.offset_);
  body.offset_ += bytes;
  return bytes;
}

int CurlBody::seek(void* self, curl_off_t offset, int origin) {
  auto& body = *static_cast<CurlBody*>(self);
  if (origin != SEEK_SET || offset < 0 || offset > body.size()) return CURL_SEEKFUNC_FAIL;
  body.offset_ = static_cast<std::size_t>(offset);
  return CURL_SEEKFUNC_OK;
}

// Called ahead of every request that goes out. After a reset on a reused connection libcurl sends the request
// again and may go on reading from the middle of the body; then the server waits for bytes that never come.
int CurlBody::prepareRequest(void* self, char*, char*, int, int) {
  static_cast<CurlBody*>(self)->rewind();
  return CURL_PREREQFUNC_OK;
}

}  // namespace KBL
