#pragma once

#include <BsNet/IBodySource.h>

#include <curl/curl.h>

#include <cstddef>
#include <string>

namespace KBL {

/// A request body that libcurl reads, from memory or a source, and reads again from its start when a try is
/// repeated on a new connection.
class CurlBody {
 public:
  void assign(std::string bytes);
  /// The caller keeps the source; null: no bytes.
  void assign(IBodySource* source, unsigned long long size);
  [[nodiscard]] curl_off_t size() const { return size_; }
  /// The bytes of a body so small that it goes out with the headers; else null.
  [[nodiscard]] const char* small() const;
  /// Makes ready for an exchange.
  void rewind();
  /// Goes back to the first byte, ahead of every request that goes out. After a reset on a reused connection
  /// libcurl sends the request again and may go on reading from the middle of the body; then the server waits
  /// for bytes that never come. Over `packed`, a socket, pieces wait until they fill packets, but for the
  /// last; CURL_SOCKET_BAD: they go out as they are written.
  void restart(curl_socket_t packed);
  /// Whether the source of the bytes has failed since then.
  [[nodiscard]] bool isCut() const { return isCut_; }

  // The callbacks; `self` is the CurlBody.
  static std::size_t read(char* buffer, std::size_t size, std::size_t count, void* self);
  static int seek(void* self, curl_off_t offset, int origin);

 private:
  [[nodiscard]] bool copyOut(char* buffer, std::size_t count);

  std::string bytes_;
  IBodySource* source_ = nullptr;  // null: the bytes in memory
  curl_off_t size_ = 0;
  curl_off_t offset_ = 0;
  bool isCut_ = false;
  curl_socket_t packed_ = CURL_SOCKET_BAD;
};

}  // namespace KBL
