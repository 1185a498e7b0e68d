#include "foundation/BsNet/client/CurlForm.h"

#include "foundation/system/System.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace KBL {

bool CurlForm::build(CURL* easy, const std::map<std::string, std::string>& fieldToPath,
                     std::string& badField) {
  mime_.reset(curl_mime_init(easy));
  if (mime_ == nullptr) return false;
  for (const auto& [field, path] : fieldToPath) {
    if (addFile(field, path)) continue;
    badField = field;
    return false;
  }
  return true;
}

bool CurlForm::addFile(const std::string& field, const std::string& path) {
  const std::filesystem::path place = System::nativePath(path);
  std::error_code error;
  // A device opens as well, but has no end.
  if (!std::filesystem::is_regular_file(place, error)) return false;
  auto file = std::make_unique<File>();
  file->field = field;
  if (!file->stream.open(Path(path), "rb")) return false;
  file->size = static_cast<curl_off_t>(file->stream.size());

  curl_mimepart* const part = curl_mime_addpart(mime_.get());
  const bool isBuilt =
      part != nullptr && curl_mime_name(part, field.c_str()) == CURLE_OK &&
      curl_mime_filename(part, System::utf8Text(place.filename().u8string()).c_str()) == CURLE_OK &&
      curl_mime_type(part, "application/octet-stream") == CURLE_OK &&
      curl_mime_data_cb(part, file->size, &CurlForm::read, &CurlForm::seek, nullptr, file.get()) == CURLE_OK;
  size_ += file->size;
  files_.push_back(std::move(file));
  return isBuilt;
}

const std::string* CurlForm::cutField() const {
  const auto cut = std::find_if(files_.begin(), files_.end(), [](const auto& file) { return file->isCut; });
  return cut == files_.end() ? nullptr : &(*cut)->field;
}

std::size_t CurlForm::read(char* buffer, std::size_t size, std::size_t count, void* arg) {
  auto& file = *static_cast<File*>(arg);
  const auto wanted = std::min(static_cast<curl_off_t>(size * count), file.size - file.offset);
  const auto read = file.stream.read(buffer, static_cast<std::uint64_t>(wanted));
  if (read != static_cast<std::uint64_t>(wanted)) {
    file.isCut = true;
    return CURL_READFUNC_ABORT;
  }
  file.offset += wanted;
  return static_cast<std::size_t>(wanted);
}

int CurlForm::seek(void* arg, curl_off_t offset, int origin) {
  auto& file = *static_cast<File*>(arg);
  if (origin != SEEK_SET || offset < 0 || offset > file.size) return CURL_SEEKFUNC_FAIL;
  if (!file.stream.seek(static_cast<std::uint64_t>(offset))) return CURL_SEEKFUNC_FAIL;
  file.offset = offset;
  return CURL_SEEKFUNC_OK;
}

}  // namespace KBL
