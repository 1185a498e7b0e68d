#include "PageFeed.h"

#include "media_tasks/SNRRequestTask.h"

#include <cstdlib>
#include <string>
#include <string_view>

namespace {

std::string_view rest;
bool isExhausted = true;

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

void feedPages(const std::uint8_t* data, std::size_t size) {
  rest = std::string_view(reinterpret_cast<const char*>(data), size);
  isExhausted = false;
}

// Takes the place of the fetch over the network.
bool KBL::SNRRequestTask::Fetch(const std::string&, std::string& body) {
  if (isExhausted) return false;
  const std::size_t end = rest.find('\0');
  body = std::string(rest.substr(0, end));
  isExhausted = end == std::string_view::npos;
  if (!isExhausted) rest.remove_prefix(end + 1);
  return true;
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
