#include "media_tasks/SNRFacebookDownloadMediaTask.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace KBL {

namespace {

/// From here on a status says that the body is not what was asked for.
constexpr std::int32_t firstErrorStatus = 400;

/// Cuts to 32 bits; a count beyond them stays at their end.
std::int32_t truncated(double count) {
  constexpr double largest = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(count, 0.0, largest));
}

}  // namespace

SNRFacebookDownloadMediaTask::SNRFacebookDownloadMediaTask(std::string url, std::string savePath,
                                                           MediaErrorCallback onError,
                                                           MediaProgressCallback onProgress,
                                                           MediaFetcher& fetcher)
    : SNRRequestTask(onError, downloadLimits, fetcher),
      progressCallback_(onProgress),
      url_(std::move(url)),
      file_(std::move(savePath)) {}

void SNRFacebookDownloadMediaTask::Run() {
  if (fetchAndStore()) {
    progress_.finished = 1;
    deliver(progressCallback_, progress_);
  } else if (file_.fault() != nullptr) {
    ReportError(MediaError::localFile, file_.fault());
  } else {
    ReportError(MediaError::fetchFailed, errorText());
  }
}

bool SNRFacebookDownloadMediaTask::fetchAndStore() {
  struct Drop {
    DownloadFile& file;
    ~Drop() { file.drop(); }
  };
  const Drop atTheEnd{file_};
  std::string nothing;  // the body is in the file
  return Fetch(url_, nothing) && acceptsStatus() && file_.store();
}

bool SNRFacebookDownloadMediaTask::acceptsStatus() {
  if (!refusesErrorStatus() || httpStatus() < firstErrorStatus) return true;
  setErrorText("HTTP status " + std::to_string(httpStatus()));
  return false;
}

std::size_t SNRFacebookDownloadMediaTask::OnWrite(const char* data, std::size_t size) {
  return file_.take(data, size) ? size : 0;
}

int SNRFacebookDownloadMediaTask::OnProgress(double total, double now, double uploadTotal, double uploadNow) {
  if (SNRRequestTask::OnProgress(total, now, uploadTotal, uploadNow) != 0 || !hasRoomFor(total)) return 1;
  const std::int32_t bytes = truncated(now);
  if (bytes == progress_.bytesSoFar) return 0;
  progress_.bytesSoFar = bytes;
  progress_.finished = 0;
  progress_.totalBytes = truncated(total);
  deliver(progressCallback_, progress_);
  return 0;
}

bool SNRFacebookDownloadMediaTask::hasRoomFor(double total) {
  if (total <= announcedBytes_ || total > static_cast<double>(largestDownloadBytes)) return true;
  announcedBytes_ = total;
  return file_.expect(static_cast<std::uint64_t>(total));
}

}  // namespace KBL
