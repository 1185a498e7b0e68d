#pragma once

#include "sandbox/base/Sha256.h"
#include "sandbox/services/MultipartForm.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// A multipart/form-data body with its fields and files gathered. Files are hashed as they arrive and kept
/// only up to a limit, so that a video of any size passes through; a field longer than 64 KiB is refused.
class UploadForm {
 public:
  struct File {
    std::string field;
    std::string fileName;
    std::string contentType;
    std::uint64_t size = 0;
    std::string sha256;
    std::string bytes;  ///< the first of them
  };

  UploadForm(const std::string& boundary, std::size_t keptBytes);
  UploadForm(const UploadForm&) = delete;
  UploadForm& operator=(const UploadForm&) = delete;

  /// Called with the bytes of every file as they come, ahead of the file's size.
  using FileSink = std::function<void(const File& file, const char* bytes, std::size_t count)>;
  void watchFiles(FileSink sink) { onFile_ = std::move(sink); }

  /// The next bytes of the body. False from the first fault on.
  bool take(const char* bytes, std::size_t count) { return form_.take(bytes, count); }
  /// Ends the last part. False when the closing delimiter has not come.
  bool finish();
  [[nodiscard]] const std::vector<std::pair<std::string, std::string>>& fields() const { return fields_; }
  /// Null without such a file.
  [[nodiscard]] const File* file(const std::string& field) const;

 private:
  bool begin(const MultipartForm::Field& field);
  bool add(const char* bytes, std::size_t count);
  void endFile();

  const std::size_t keptBytes_;
  std::vector<std::pair<std::string, std::string>> fields_;
  std::vector<File> files_;
  FileSink onFile_;
  bool inFile_ = false;
  Sha256 hash_;
  MultipartForm form_;
};

}  // namespace sandbox
