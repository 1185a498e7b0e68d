#include "support/MediaHost.h"

#include "support/WaitUntil.h"

#include <utf8.h>

#include <algorithm>
#include <iterator>
#include <ostream>

std::string narrow(const char16_t* field, std::size_t size) {
  const char16_t* const end = std::find(field, field + size, u'\0');
  if (end == field + size) return "unterminated";
  std::string text;
  utf8::utf16to8(field, end, std::back_inserter(text));
  return text;
}

std::int32_t MediaHost::noteItem(KBL::IExternlMediaTransfer* transfer, const std::function<void()>& keep) {
  std::size_t count = 0;
  {
    const std::lock_guard lock(mutex_);
    keep();
    threads_.insert(std::this_thread::get_id());
    transfers_.insert(transfer);
    ++calls_;
    count = ++items_;
  }
  return itemResult ? itemResult(count) : 1;
}

void MediaHost::noteOther(KBL::IExternlMediaTransfer* transfer, const std::function<void()>& keep) {
  {
    const std::lock_guard lock(mutex_);
    keep();
    threads_.insert(std::this_thread::get_id());
    transfers_.insert(transfer);
    ++calls_;
  }
  if (onOther) onOther();
}

std::int32_t MediaHost::onAlbum(void* context, KBL::IExternlMediaTransfer* transfer,
                                const KBL::hostAlbumRecord* album) {
  auto* const host = static_cast<MediaHost*>(context);
  return host->noteItem(transfer, [&] {
    host->albums_.push_back({narrow(album->id), narrow(album->name), album->more});
  });
}

std::int32_t MediaHost::onMedia(void* context, KBL::IExternlMediaTransfer* transfer,
                                const KBL::hostMediaRecord* media) {
  auto* const host = static_cast<MediaHost*>(context);
  return host->noteItem(transfer, [&] {
    host->media_.push_back({media->type, narrow(media->mediaUrl), narrow(media->thumbnailUrl), media->more});
  });
}

std::int32_t MediaHost::onError(void* context, KBL::IExternlMediaTransfer* transfer,
                                const KBL::hostErrorRecord* error) {
  auto* const host = static_cast<MediaHost*>(context);
  host->noteOther(transfer, [&] { host->errors_.push_back({error->code, narrow(error->message)}); });
  return 0;
}

std::int32_t MediaHost::onProgress(void* context, KBL::IExternlMediaTransfer* transfer,
                                   const KBL::hostProgressRecord* progress) {
  auto* const host = static_cast<MediaHost*>(context);
  host->noteOther(transfer, [&] {
    host->progress_.push_back({progress->finished, progress->totalBytes, progress->bytesSoFar});
  });
  return 0;
}

std::vector<MediaHost::Album> MediaHost::albums() const {
  const std::lock_guard lock(mutex_);
  return albums_;
}

std::vector<MediaHost::Media> MediaHost::media() const {
  const std::lock_guard lock(mutex_);
  return media_;
}

std::vector<MediaHost::Error> MediaHost::errors() const {
  const std::lock_guard lock(mutex_);
  return errors_;
}

std::vector<MediaHost::Progress> MediaHost::progress() const {
  const std::lock_guard lock(mutex_);
  return progress_;
}

std::set<std::thread::id> MediaHost::threads() const {
  const std::lock_guard lock(mutex_);
  return threads_;
}

std::set<KBL::IExternlMediaTransfer*> MediaHost::transfers() const {
  const std::lock_guard lock(mutex_);
  return transfers_;
}

std::size_t MediaHost::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

std::size_t MediaHost::closings() const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(
      std::count_if(media_.begin(), media_.end(), [](const Media& media) { return media.more == 0; }));
}

bool MediaHost::waitForCalls(std::size_t count) const {
  return waitUntil([&] { return calls() >= count; });
}

bool MediaHost::waitForErrors(std::size_t count) const {
  return waitUntil([&] { return errors().size() >= count; });
}

bool MediaHost::waitForClosingMedia() const {
  return waitUntil([&] {
    const std::lock_guard lock(mutex_);
    return !media_.empty() && media_.back().more == 0;
  });
}

bool MediaHost::waitForClosingAlbum() const {
  return waitUntil([&] {
    const std::lock_guard lock(mutex_);
    return !albums_.empty() && albums_.back().more == 0;
  });
}

bool MediaHost::waitForFinish() const {
  return waitUntil([&] {
    const std::lock_guard lock(mutex_);
    return !progress_.empty() && progress_.back().finished == 1;
  });
}

void PrintTo(const MediaHost::Error& error, std::ostream* out) {
  *out << "error " << error.code << " \"" << error.message << '"';
}

void PrintTo(const MediaHost::Album& album, std::ostream* out) {
  *out << "album \"" << album.id << "\" \"" << album.name << "\" more " << album.more;
}

void PrintTo(const MediaHost::Media& media, std::ostream* out) {
  *out << "media type " << media.type << " \"" << media.url << "\" \"" << media.thumbnail << "\" more "
       << media.more;
}

void PrintTo(const MediaHost::Progress& progress, std::ostream* out) {
  *out << "progress finished " << progress.finished << ' ' << progress.bytes << '/' << progress.total;
}
