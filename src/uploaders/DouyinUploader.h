#pragma once

#include "uploaders/PlatformUploadProxy.h"

namespace KBL {

/// The process-wide callback of all Douyin uploads.
class DouyinUploadProxyCallbackProxy final : public UploadCallbackProxy {
 public:
  static DouyinUploadProxyCallbackProxy& instance();
};

/// Uploads to Douyin on behalf of `owner`, which hears of the events.
class DouyinUploadProxy final : public PlatformUploadProxy {
 public:
  explicit DouyinUploadProxy(std::shared_ptr<IUploadEventSink> owner);
};

}  // namespace KBL
