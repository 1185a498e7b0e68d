#include "media_tasks/SNRFacebookDownloadMediaTask.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <utility>

namespace KBL {

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// Cuts to 32 bits; a count beyond them stays at their end.
std::int32_t truncated(double count) {
  constexpr double largest = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(count, 0.0, largest));
}

}  // namespace

SNRFacebookDownloadMediaTask::SNRFacebookDownloadMediaTask(std::string url, std::string savePath,
                                                           MediaErrorCallback onError,
                                                           MediaProgressCallback onProgress)
    : SNRRequestTask(onError, largestDownloadBytes),
      progressCallback_(onProgress),
      url_(std::move(url)),
      savePath_(std::move(savePath)) {}

void SNRFacebookDownloadMediaTask::Run() {
  std::string body;
  if (!Fetch(url_, body)) {
    ReportError(MediaError::fetchFailed, errorText());
    return;
  }
  if (!store(body)) return;
  progress_.finished = 1;
  deliver(progressCallback_, progress_);
}

bool SNRFacebookDownloadMediaTask::store(const std::string& body) {
  const File file(std::fopen(savePath_.c_str(), "wb+"));
  if (!file) {
    ReportError(MediaError::localFile, "Image save path open error.");
    return false;
  }
  // Small bodies reach the disk with the flush, so that a full disk shows there.
  const std::size_t written = std::fwrite(body.data(), 1, body.size(), file.get());
  if (written == body.size() && std::fflush(file.get()) == 0) return true;
  ReportError(MediaError::localFile, "Image file write error.");
  return false;
}

int SNRFacebookDownloadMediaTask::OnProgress(double total, double now, double uploadTotal, double uploadNow) {
  if (SNRRequestTask::OnProgress(total, now, uploadTotal, uploadNow) != 0) return 1;
  const std::int32_t bytes = truncated(now);
  if (bytes == progress_.bytesSoFar) return 0;
  progress_.bytesSoFar = bytes;
  progress_.finished = 0;
  progress_.totalBytes = truncated(total);
  deliver(progressCallback_, progress_);
  return 0;
}

}  // namespace KBL
