#pragma once

#include "foundation/BsNet/client/CurlHandle.h"
#include <KblUtils/FileStream.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace KBL {

/// A multipart form of files that are streamed from disk. Lives as long as the exchange that sends it.
class CurlForm {
 public:
  /// Opens the files (form field name to UTF-8 path) and builds the form. False, with the field whose file
  /// cannot be read in `badField`, when it cannot be built.
  [[nodiscard]] bool build(CURL* easy, const std::map<std::string, std::string>& fieldToPath,
                           std::string& badField);

  [[nodiscard]] curl_mime* get() const { return mime_.get(); }
  /// Bytes of all files.
  [[nodiscard]] curl_off_t size() const { return size_; }
  /// The first field whose file could not be read to its announced end, or null.
  [[nodiscard]] const std::string* cutField() const;

 private:
  /// One open file with the size that was announced: a file that grows is cut there, one that shrinks ends
  /// the exchange.
  struct File {
    std::string field;
    FileStream stream;
    curl_off_t size = 0;
    curl_off_t offset = 0;
    bool isCut = false;
  };

  [[nodiscard]] bool addFile(const std::string& field, const std::string& path);
  static std::size_t read(char* buffer, std::size_t size, std::size_t count, void* arg);
  static int seek(void* arg, curl_off_t offset, int origin);

  std::vector<std::unique_ptr<File>> files_;
  CurlMime mime_;
  curl_off_t size_ = 0;
};

}  // namespace KBL
