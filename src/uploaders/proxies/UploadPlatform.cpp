#include "uploaders/proxies/UploadPlatform.h"

#include "requests/BsExternlMediaAuthRequest.h"
#include "uploaders/proxies/DouyinUploader.h"
#include "uploaders/proxies/TiktokUploader.h"
#include "uploaders/proxies/YoutubeUploader.h"
#include <ExternlMediaTransfer/ExternlMediaPlatform.h>

namespace KBL {

namespace {
template <class Proxy>
std::shared_ptr<IPlatformUploadProxy> makeProxy(std::shared_ptr<IUploadEventSink> owner) {
  return std::make_shared<Proxy>(std::move(owner));
}

int generalErrorValue(int) {
  return 0;
}

// clang-format off
constexpr UploadPlatform uploadPlatforms[] = {
    {transferYoutube, ema_youtube, "youtube", "YoutubeUploadProxy", requestYoutubeUploadFile,
     false, true, youtubeErrorValue, makeProxy<YoutubeUploadProxy>},
    {transferTiktok, ema_tiktok, "tiktok", "TiktokUploadProxy", requestTiktokUploadFile,
     true, false, generalErrorValue, makeProxy<TiktokUploadProxy>},
    {transferDouyin, ema_douyin, "douyin", "DouyinUploadProxy", requestDouyinUploadFile,
     true, false, generalErrorValue, makeProxy<DouyinUploadProxy>},
};
// clang-format on
}  // namespace

const UploadPlatform* findUploadPlatform(int transferPlatform) {
  for (const UploadPlatform& platform : uploadPlatforms) {
    if (platform.transferPlatform == transferPlatform) return &platform;
  }
  return nullptr;
}

}  // namespace KBL
