#include "uploaders/DouyinUploader.h"

#include <utility>

namespace KBL {

DouyinUploadProxyCallbackProxy& DouyinUploadProxyCallbackProxy::instance() {
  return processInstance<DouyinUploadProxyCallbackProxy>();
}

DouyinUploadProxy::DouyinUploadProxy(std::shared_ptr<IUploadEventSink> owner)
    : PlatformUploadProxy(transferDouyin, DouyinUploadProxyCallbackProxy::instance(), std::move(owner)) {}

}  // namespace KBL
