#pragma once

#include "uploaders/PlatformUploadProxy.h"

namespace KBL {

/// The process-wide callback of all YouTube uploads.
class YoutubeUploadProxyCallbackProxy final : public UploadCallbackProxy {
 public:
  static YoutubeUploadProxyCallbackProxy& instance();
};

/// Uploads to YouTube on behalf of `owner`, which hears of the events.
class YoutubeUploadProxy final : public PlatformUploadProxy {
 public:
  explicit YoutubeUploadProxy(std::shared_ptr<IUploadEventSink> owner);
};

/// The number by which the host knows an error code of a YouTube upload; 10 for a code that is not in the
/// table.
[[nodiscard]] int youtubeErrorValue(int code);

}  // namespace KBL
