#pragma once

#include "media_tasks/MediaFetcher.h"
#include <ExternlMediaTransfer/DownloadRecords.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Brings the pages of an input to the tasks, in order, in place of the network. Pages are separated by a
/// zero byte, which no JSON text contains; behind the last one every fetch fails.
class PageFeed final : public KBL::MediaFetcher {
 public:
  PageFeed(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

  [[nodiscard]] KBL::FetchResult fetch(const std::string& url, std::size_t largestBody,
                                       KBL::FetchListener& listener) override;

 private:
  std::string_view rest_;
  bool isExhausted_ = false;
};

// Callbacks that end the program at a record which breaks its promises: texts are terminated and well-formed.
std::int32_t checkAlbum(void*, KBL::IExternlMediaTransfer*, const KBL::hostAlbumRecord* album);
std::int32_t checkMedia(void*, KBL::IExternlMediaTransfer*, const KBL::hostMediaRecord* media);
std::int32_t checkError(void*, KBL::IExternlMediaTransfer*, const KBL::hostErrorRecord* error);
