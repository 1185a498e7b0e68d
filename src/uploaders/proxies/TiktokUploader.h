#pragma once

#include "uploaders/proxies/PlatformUploadProxy.h"

#include <memory>
#include <utility>

namespace KBL {

/// The process-wide callback of all TikTok uploads.
class TiktokUploadProxyCallbackProxy final : public UploadCallbackProxy {
 public:
  static TiktokUploadProxyCallbackProxy& instance() {
    return processInstance<TiktokUploadProxyCallbackProxy>();
  }
};

/// Uploads to TikTok on behalf of `owner`, which hears of the events.
class TiktokUploadProxy final : public PlatformUploadProxy {
 public:
  explicit TiktokUploadProxy(std::shared_ptr<IUploadEventSink> owner)
      : PlatformUploadProxy(transferTiktok, TiktokUploadProxyCallbackProxy::instance(), std::move(owner)) {}
};

}  // namespace KBL
