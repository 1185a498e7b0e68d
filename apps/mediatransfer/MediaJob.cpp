#include "MediaJob.h"

#include "Failure.h"
#include "Interrupt.h"
#include "boundary/ExternlMediaTransfer.h"

namespace host {
namespace {

enum TransferCommand : int {
  commandDownload = 10,
  commandAlbums = 11,
  commandFacebook = 12,
  commandFlickr = 13,
  commandInstagram = 14,
  commandContext = 15,
};

/// Whether this was the last record of its list or download.
struct IsLast {
  bool operator()(const AlbumEvent& album) const { return album.more == 0; }
  bool operator()(const MediaEvent& media) const { return media.more == 0; }
  bool operator()(const DownloadEvent& download) const { return download.finished; }
  bool operator()(const MediaErrorEvent&) const { return false; }
};

}  // namespace

MediaJob::MediaJob(MediaReport& report) : report_(report), transfer_(KBL::adoptRef(createEMTDlTransfer())) {
  if (!transfer_) throw Failure(Exit::refused, "the library cannot make a transfer");
  transfer_->Command(commandContext, static_cast<void*>(&events_));
}

MediaJob::~MediaJob() {
  transfer_.reset();
}

int MediaJob::listAlbums(const std::string& token) {
  transfer_->Command(commandAlbums, token.c_str(), &MediaEvents::onAlbum, &MediaEvents::onError);
  return follow(true);
}

int MediaJob::listFacebook(const std::string& token, const std::string& album) {
  transfer_->Command(commandFacebook, token.c_str(), album.c_str(), &MediaEvents::onMedia,
                     &MediaEvents::onError);
  return follow(false);
}

int MediaJob::listFlickr(const std::string& key, const std::string& secret, const std::string& tokenPair) {
  transfer_->Command(commandFlickr, key.c_str(), secret.c_str(), tokenPair.c_str(), &MediaEvents::onMedia,
                     &MediaEvents::onError);
  return follow(false);
}

int MediaJob::listInstagram(const std::string& token) {
  transfer_->Command(commandInstagram, token.c_str(), &MediaEvents::onMedia, &MediaEvents::onError);
  return follow(false);
}

int MediaJob::download(const std::string& url, const std::string& path) {
  transfer_->Command(commandDownload, url.c_str(), path.c_str(), &MediaEvents::onError,
                     &MediaEvents::onProgress);
  return follow(true);
}

/// A list of albums and a download end with an error; a list of media always sends its closing record.
int MediaJob::follow(bool endsWithError) {
  constexpr std::chrono::milliseconds slice(100);
  transfer_->Start();
  bool isOver = false;
  while (!isOver && !interrupted()) {
    const auto event = events_.pop(slice);
    if (event) {
      isOver = show(*event) || (endsWithError && failed_);
    } else {
      report_.tick();
    }
  }
  if (!isOver) {
    transfer_->Stop();
    report_.end(MediaEnd::stopped);
    return Exit::interrupted;
  }
  report_.end(failed_ ? MediaEnd::failed : MediaEnd::good);
  return failed_ ? Exit::refused : Exit::done;
}

bool MediaJob::show(const TransferEvent& event) {
  if (const auto* const album = std::get_if<AlbumEvent>(&event)) report_.album(*album);
  if (const auto* const media = std::get_if<MediaEvent>(&event)) report_.media(*media);
  if (const auto* const download = std::get_if<DownloadEvent>(&event)) report_.download(*download);
  if (const auto* const error = std::get_if<MediaErrorEvent>(&event)) {
    failed_ = true;
    report_.error(*error);
  }
  return std::visit(IsLast{}, event);
}

}  // namespace host
