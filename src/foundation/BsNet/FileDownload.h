#pragma once

#include "foundation/BsNet/IBsResponseWriteCallback.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace KBL {

/// A file that is being fetched: written beside its place under a name of its own, moved there when complete,
/// removed when not.
class FileDownload final : public IBsResponseWriteCallback {
 public:
  explicit FileDownload(const std::string& utf8Path);
  ~FileDownload();
  FileDownload(const FileDownload&) = delete;
  FileDownload& operator=(const FileDownload&) = delete;

  [[nodiscard]] bool isOpen() const { return stream_.is_open(); }
  bool onResponseData(const char* data, unsigned long long size, void* context) override;
  /// Puts the file in its place. False when something of it could not be written.
  [[nodiscard]] bool complete();

 private:
  std::filesystem::path target_;
  std::filesystem::path part_;
  std::ofstream stream_;
};

}  // namespace KBL
