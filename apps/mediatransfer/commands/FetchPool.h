#pragma once

#include "host/EventQueue.h"
#include "report/Events.h"
#include <ExternlMediaTransfer/DownloadRecords.h>
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>
#include <KblUtils/RefPtr.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// Several downloads at once, each on a transfer of its own. Main thread.
class FetchPool {
 public:
  /// Throws Failure when the library makes no transfers.
  explicit FetchPool(int jobs);
  /// Stops what still runs.
  ~FetchPool();
  FetchPool(const FetchPool&) = delete;
  FetchPool& operator=(const FetchPool&) = delete;

  [[nodiscard]] bool hasRoom() const { return running_ < slots_.size(); }
  [[nodiscard]] bool isIdle() const { return running_ == 0; }

  /// Begins a download; there has to be room. `path` is in the system's narrow encoding, `number` the
  /// caller's own.
  void begin(std::size_t number, const std::string& url, const std::string& path);

  /// The end of one download.
  struct End {
    std::size_t number = 0;
    std::optional<MediaErrorEvent> error;  ///< nothing: it is stored
    bool isTooLarge = false;               ///< the file has a size that no download takes
  };
  /// The next end, or nothing after `limit`.
  [[nodiscard]] std::optional<End> next(std::chrono::milliseconds limit);

  /// Bytes that have come, those of downloads that failed included.
  [[nodiscard]] std::uint64_t bytes() const;

  /// Ends all that run; ends that are on their way still come from `next`.
  void stop();

 private:
  struct Slot;
  struct News {
    std::size_t slot = 0;
    DownloadEvent progress;
    std::optional<MediaErrorEvent> error;
  };

  static std::int32_t onProgress(void* context, KBL::IExternlMediaTransfer* transfer,
                                 const KBL::hostProgressRecord* progress);
  static std::int32_t onError(void* context, KBL::IExternlMediaTransfer* transfer,
                              const KBL::hostErrorRecord* error);

  WaitingQueue<News> news_;
  std::vector<std::unique_ptr<Slot>> slots_;
  std::size_t running_ = 0;
  std::uint64_t bytesOfEnded_ = 0;
};

}  // namespace host
