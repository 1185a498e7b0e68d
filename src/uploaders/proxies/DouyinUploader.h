#pragma once

#include "uploaders/proxies/PlatformUploadProxy.h"

#include <memory>
#include <utility>

namespace KBL {

/// The process-wide callback of all Douyin uploads.
class DouyinUploadProxyCallbackProxy final : public UploadCallbackProxy {
 public:
  static DouyinUploadProxyCallbackProxy& instance() {
    return processInstance<DouyinUploadProxyCallbackProxy>();
  }
};

/// Uploads to Douyin on behalf of `owner`, which hears of the events.
class DouyinUploadProxy final : public PlatformUploadProxy {
 public:
  explicit DouyinUploadProxy(std::shared_ptr<IUploadEventSink> owner)
      : PlatformUploadProxy(transferDouyin, DouyinUploadProxyCallbackProxy::instance(), std::move(owner)) {}
};

}  // namespace KBL
