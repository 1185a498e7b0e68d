#pragma once

#include "host/EventQueue.h"
#include <ExternlMediaTransfer/DownloadRecords.h>

#include <chrono>
#include <optional>

namespace host {

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

  // What the records tell.
  [[nodiscard]] static DownloadEvent progressOf(const KBL::hostProgressRecord& progress);
  [[nodiscard]] static MediaErrorEvent errorOf(const KBL::hostErrorRecord& error);

  /// The next event, or nothing after `limit`. Main thread.
  [[nodiscard]] std::optional<MediaNews> pop(std::chrono::milliseconds limit) { return queue_.pop(limit); }

 private:
  WaitingQueue<MediaNews> queue_;
};

}  // namespace host
