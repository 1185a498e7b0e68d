#pragma once

#include "media_tasks/DownloadFile.h"
#include "media_tasks/SNRRequestTask.h"

namespace KBL {

/// Stores what one URL gives in a file, whatever the HTTP status, unless the host refuses error statuses. The
/// file appears, or is replaced, once the
/// body is whole and on the disk, so that a failed or stopped fetch touches no file.
class SNRFacebookDownloadMediaTask final : public SNRRequestTask {
 public:
  /// `savePath` is in the system's narrow encoding.
  SNRFacebookDownloadMediaTask(std::string url, std::string savePath, MediaErrorCallback onError,
                               MediaProgressCallback onProgress, MediaFetcher& fetcher);
  ~SNRFacebookDownloadMediaTask() override { Stop(); }

  void Run() override;
  std::size_t OnWrite(const char* data, std::size_t size) override;
  int OnProgress(double total, double now, double uploadTotal, double uploadNow) override;

 private:
  /// Leaves nothing but the target behind.
  [[nodiscard]] bool fetchAndStore();
  /// False, with its text, for an error status that the host refuses.
  [[nodiscard]] bool acceptsStatus();
  /// False once as many bytes are announced as the disk has no room for.
  [[nodiscard]] bool hasRoomFor(double total);

  const MediaProgressCallback progressCallback_;
  const std::string url_;
  DownloadFile file_;
  double announcedBytes_ = 0;
  hostProgressRecord progress_{};
};

}  // namespace KBL
