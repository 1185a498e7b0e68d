#include "commands/MediaJob.h"

#include "host/Interrupt.h"
#include "host/ServerOrigin.h"
#include "options/Failure.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <utility>

namespace host {
namespace {

/// Whether this was the last record of its list or download.
struct IsLast {
  bool operator()(const AlbumEvent& album) const { return album.more == 0; }
  bool operator()(const MediaEvent& media) const { return media.more == 0; }
  bool operator()(const DownloadEvent& download) const { return download.finished; }
  bool operator()(const MediaErrorEvent&) const { return false; }
};

}  // namespace

MediaJob::MediaJob(Report& report) : report_(report), transfer_(KBL::adoptRef(createEMTDlTransfer())) {
  if (!transfer_) throw Failure(Cause::call, "the library cannot make a transfer");
  transfer_->Command(KBL::commandSetContext, static_cast<void*>(&events_));
}

MediaJob::~MediaJob() {
  transfer_.reset();
}

int MediaJob::listAlbums(const std::string& token) {
  what_ = "facebook";
  transfer_->Command(KBL::commandListFacebookAlbums, token.c_str(), &MediaEvents::onAlbum,
                     &MediaEvents::onError);
  return follow(true);
}

int MediaJob::listMedia(const MediaService& service, const MediaRequest& request,
                        std::vector<MediaEvent>* list) {
  list_ = list;
  what_ = service.name;
  const char* const token = request.token.c_str();
  if (service.hasAlbums) {
    transfer_->Command(service.listCommand, token, request.album.c_str(), &MediaEvents::onMedia,
                       &MediaEvents::onError);
  } else if (service.signsEachRequest) {
    transfer_->Command(service.listCommand, request.key.c_str(), request.secret.c_str(), token,
                       &MediaEvents::onMedia, &MediaEvents::onError);
  } else {
    transfer_->Command(service.listCommand, token, &MediaEvents::onMedia, &MediaEvents::onError);
  }
  return follow(false);
}

int MediaJob::download(const std::string& url, const std::string& path, bool keepErrors) {
  const std::string origin = originOf(url);
  what_ = origin.empty() ? "the server" : origin;
  auto* const news =
      KBL::queryInterface<KBL::IExternlMediaDownloadNews>(transfer_.get(), "IExternlMediaDownloadNews");
  if (news != nullptr) news->RefuseErrorStatus(!keepErrors);
  transfer_->Command(KBL::commandDownloadFile, url.c_str(), path.c_str(), &MediaEvents::onError,
                     &MediaEvents::onProgress);
  return follow(true);
}

/// A list of albums and a download end with an error; a list of media always sends its closing record.
int MediaJob::follow(bool endsWithError) {
  constexpr std::chrono::milliseconds slice(100);
  report_.mediaStarts();
  report_.waitsFor(what_);
  transfer_->Start();
  bool isOver = false;
  while (!isOver && !interrupted()) {
    const auto event = events_.pop(slice);
    if (event) {
      if (isNews(*event)) report_.waitsFor(what_);
      isOver = show(*event) || (endsWithError && failed_);
    } else {
      report_.tick();
    }
  }
  if (!isOver) {
    transfer_->Stop();
    report_.mediaEnds(MediaEnd::stopped);
    return Exit::interrupted;
  }
  report_.mediaEnds(failed_ ? MediaEnd::failed : MediaEnd::good);
  return failed_ ? Exit::refused : Exit::done;
}

/// A download may tell again and again that nothing has come.
bool MediaJob::isNews(const MediaNews& event) {
  const auto* const download = std::get_if<DownloadEvent>(&event);
  return download == nullptr || std::exchange(bytes_, download->bytes) != download->bytes;
}

bool MediaJob::show(const MediaNews& event) {
  if (const auto* const album = std::get_if<AlbumEvent>(&event)) report_.album(*album);
  if (const auto* const media = std::get_if<MediaEvent>(&event)) {
    report_.media(*media);
    if (list_ != nullptr && media->more != 0) list_->push_back(*media);
  }
  if (const auto* const download = std::get_if<DownloadEvent>(&event)) report_.download(*download);
  if (const auto* const error = std::get_if<MediaErrorEvent>(&event)) {
    failed_ = true;
    report_.mediaError(*error);
  }
  return std::visit(IsLast{}, event);
}

}  // namespace host
