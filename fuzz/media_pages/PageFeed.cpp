#include "PageFeed.h"

#include <cstdlib>

namespace {

template <std::size_t size>
void checkText(const char16_t (&field)[size]) {
  if (field[size - 1] != 0) std::abort();
  for (std::size_t place = 0; field[place] != 0; ++place) {
    const bool isLeading = (field[place] & 0xFC00) == 0xD800;
    const bool isTrailing = (field[place] & 0xFC00) == 0xDC00;
    if (isTrailing) std::abort();
    if (isLeading && (field[++place] & 0xFC00) != 0xDC00) std::abort();
  }
}

}  // namespace

KBL::FetchResult PageFeed::fetch(const std::string&, std::size_t largestBody, KBL::FetchListener& listener) {
  if (isExhausted_) return {};
  const std::string_view page = rest_.substr(0, rest_.find('\0'));
  isExhausted_ = page.size() == rest_.size();
  if (!isExhausted_) rest_.remove_prefix(page.size() + 1);
  if (page.size() > largestBody || !listener.takePiece(page.data(), page.size())) return {};
  return {KBL::FetchResult::End::good};
}

std::int32_t checkAlbum(void*, KBL::IExternlMediaTransfer*, const KBL::hostAlbumRecord* album) {
  checkText(album->id);
  checkText(album->name);
  return 1;
}

std::int32_t checkMedia(void*, KBL::IExternlMediaTransfer*, const KBL::hostMediaRecord* media) {
  if (media->reserved[0] != 0) std::abort();
  checkText(media->mediaUrl);
  checkText(media->thumbnailUrl);
  return 1;
}

std::int32_t checkError(void*, KBL::IExternlMediaTransfer*, const KBL::hostErrorRecord* error) {
  checkText(error->message);
  return 0;
}
