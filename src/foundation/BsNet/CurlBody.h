#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <string>
#include <utility>

namespace KBL {

/// A request body in memory that libcurl reads, and reads again from its start when a try is repeated on a
/// new connection.
class CurlBody {
 public:
  void assign(std::string bytes) {
    bytes_ = std::move(bytes);
    offset_ = 0;
  }
  [[nodiscard]] curl_off_t size() const { return static_cast<curl_off_t>(bytes_.size()); }
  void rewind() { offset_ = 0; }

  // The callbacks; `self` is the CurlBody.
  static std::size_t read(char* buffer, std::size_t size, std::size_t count, void* self);
  static int seek(void* self, curl_off_t offset, int origin);
  static int prepareRequest(void* self, char* peerAddress, char* localAddress, int peerPort, int localPort);

 private:
  std::string bytes_;
  std::size_t offset_ = 0;
};

}  // namespace KBL
