#include "host/MediaEvents.h"

#include <utf8.h>

#include <algorithm>
#include <iterator>

namespace host {
namespace {

template <std::size_t size>
std::string textOf(const char16_t (&field)[size]) {
  std::string text;
  // The library hands out well-formed UTF-16 alone.
  utf8::unchecked::utf16to8(field, std::find(field, field + size, u'\0'), std::back_inserter(text));
  return text;
}

}  // namespace

std::int32_t MediaEvents::onAlbum(void* context, KBL::IExternlMediaTransfer*,
                                  const KBL::hostAlbumRecord* album) {
  static_cast<MediaEvents*>(context)->queue_.push(
      AlbumEvent{textOf(album->id), textOf(album->name), album->more});
  return 1;
}

std::int32_t MediaEvents::onMedia(void* context, KBL::IExternlMediaTransfer*,
                                  const KBL::hostMediaRecord* media) {
  static_cast<MediaEvents*>(context)->queue_.push(
      MediaEvent{media->type, textOf(media->mediaUrl), textOf(media->thumbnailUrl), media->more});
  return 1;
}

std::int32_t MediaEvents::onError(void* context, KBL::IExternlMediaTransfer*,
                                  const KBL::hostErrorRecord* error) {
  static_cast<MediaEvents*>(context)->queue_.push(errorOf(*error));
  return 0;
}

std::int32_t MediaEvents::onProgress(void* context, KBL::IExternlMediaTransfer*,
                                     const KBL::hostProgressRecord* progress) {
  static_cast<MediaEvents*>(context)->queue_.push(progressOf(*progress));
  return 0;
}

DownloadEvent MediaEvents::progressOf(const KBL::hostProgressRecord& progress) {
  return {progress.finished != 0, progress.totalBytes, progress.bytesSoFar};
}

MediaErrorEvent MediaEvents::errorOf(const KBL::hostErrorRecord& error) {
  return {error.code, textOf(error.message)};
}

}  // namespace host
