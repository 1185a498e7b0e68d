#pragma once

#include "media_tasks/SNRRequestTask.h"

namespace KBL {

/// Stores what one URL gives in a file, whatever the HTTP status. The whole body is held in memory until it
/// is complete, so that a failed or stopped fetch touches no file.
class SNRFacebookDownloadMediaTask final : public SNRRequestTask {
 public:
  /// `savePath` is in the system's narrow encoding.
  SNRFacebookDownloadMediaTask(std::string url, std::string savePath, MediaErrorCallback onError,
                               MediaProgressCallback onProgress);
  ~SNRFacebookDownloadMediaTask() override { Stop(); }

  void Run() override;
  int OnProgress(double total, double now, double uploadTotal, double uploadNow) override;

 private:
  /// False when the file can't be opened or written, which is reported; a partial file stays.
  [[nodiscard]] bool store(const std::string& body);

  const MediaProgressCallback progressCallback_;
  const std::string url_;
  const std::string savePath_;
  hostProgressRecord progress_{};
};

}  // namespace KBL
