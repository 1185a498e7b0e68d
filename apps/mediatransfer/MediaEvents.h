#pragma once

#include "WaitingQueue.h"
#include "boundary/records/DownloadRecords.h"

#include <chrono>
#include <optional>
#include <string>
#include <variant>

namespace host {

// What the callbacks of a download transfer bring, with texts in UTF-8.

struct AlbumEvent {
  std::string id;
  std::string name;
  int more = 0;
};

struct MediaEvent {
  int type = 0;
  std::string url;
  std::string thumbnail;
  int more = 0;
};

struct DownloadEvent {
  bool finished = false;
  int total = 0;  ///< bytes; 0 while unknown
  int bytes = 0;
};

struct MediaErrorEvent {
  int code = 0;
  std::string text;
};

using TransferEvent = std::variant<AlbumEvent, MediaEvent, DownloadEvent, MediaErrorEvent>;

/// Brings the events of one transfer from its task's thread to the main thread, in their order. The callbacks
/// take its address as their context; it outlives the transfer.
class MediaEvents {
 public:
  static std::int32_t onAlbum(void* context, KBL::IExternlMediaTransfer* transfer,
                              const KBL::hostAlbumRecord* album);
  static std::int32_t onMedia(void* context, KBL::IExternlMediaTransfer* transfer,
                              const KBL::hostMediaRecord* media);
  static std::int32_t onError(void* context, KBL::IExternlMediaTransfer* transfer,
                              const KBL::hostErrorRecord* error);
  static std::int32_t onProgress(void* context, KBL::IExternlMediaTransfer* transfer,
                                 const KBL::hostProgressRecord* progress);

  /// The next event, or nothing after `limit`. Main thread.
  [[nodiscard]] std::optional<TransferEvent> pop(std::chrono::milliseconds limit) {
    return queue_.pop(limit);
  }

 private:
  WaitingQueue<TransferEvent> queue_;
};

}  // namespace host
