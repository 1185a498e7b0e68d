#pragma once

#include "uploaders/PlatformUploadProxy.h"

namespace KBL {

/// The process-wide callback of all TikTok uploads.
class TiktokUploadProxyCallbackProxy final : public UploadCallbackProxy {
 public:
  static TiktokUploadProxyCallbackProxy& instance();
};

/// Uploads to TikTok on behalf of `owner`, which hears of the events.
class TiktokUploadProxy final : public PlatformUploadProxy {
 public:
  explicit TiktokUploadProxy(std::shared_ptr<IUploadEventSink> owner);
};

}  // namespace KBL
