#include "sandbox/services/UploadForm.h"

#include <algorithm>

namespace sandbox {

namespace {

constexpr std::size_t fieldLimit = 65536;

}  // namespace

UploadForm::UploadForm(const std::string& boundary, std::size_t keptBytes)
    : keptBytes_(keptBytes),
      form_(
          boundary, [this](const MultipartForm::Field& field) { return begin(field); },
          [this](const char* bytes, std::size_t count) { return add(bytes, count); }) {}

bool UploadForm::begin(const MultipartForm::Field& field) {
  endFile();
  inFile_ = field.fileName.has_value();
  if (!inFile_) {
    fields_.emplace_back(field.name, std::string());
    return true;
  }
  hash_ = Sha256();
  files_.push_back({field.name, *field.fileName, field.contentType, 0, {}, {}});
  return true;
}

bool UploadForm::add(const char* bytes, std::size_t count) {
  if (!inFile_) {
    fields_.back().second.append(bytes, count);
    return fields_.back().second.size() <= fieldLimit;
  }
  File& file = files_.back();
  if (onFile_) onFile_(file, bytes, count);
  hash_.add(bytes, count);
  file.size += count;
  file.bytes.append(bytes, std::min(count, keptBytes_ - std::min(keptBytes_, file.bytes.size())));
  return true;
}

void UploadForm::endFile() {
  if (inFile_) files_.back().sha256 = hash_.hex();
  inFile_ = false;
}

bool UploadForm::finish() {
  endFile();
  return form_.ended();
}

const UploadForm::File* UploadForm::file(const std::string& field) const {
  const auto found =
      std::find_if(files_.begin(), files_.end(), [&](const File& file) { return file.field == field; });
  return found == files_.end() ? nullptr : &*found;
}

}  // namespace sandbox
