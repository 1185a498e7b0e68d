#include "uploaders/TiktokUploader.h"

#include <utility>

namespace KBL {

TiktokUploadProxyCallbackProxy& TiktokUploadProxyCallbackProxy::instance() {
  return processInstance<TiktokUploadProxyCallbackProxy>();
}

TiktokUploadProxy::TiktokUploadProxy(std::shared_ptr<IUploadEventSink> owner)
    : PlatformUploadProxy(transferTiktok, TiktokUploadProxyCallbackProxy::instance(), std::move(owner)) {}

}  // namespace KBL
