#include "uploaders/UploadPlatform.h"

#include "boundary/records/ExternlMediaPlatform.h"
#include "uploaders/BsExternlMediaAuthDouyinUploadFileRequest.h"
#include "uploaders/BsExternlMediaAuthTiktokUploadFileRequest.h"
#include "uploaders/BsExternlMediaAuthYoutubeUploadFileRequest.h"
#include "uploaders/DouyinUploader.h"
#include "uploaders/TiktokUploader.h"
#include "uploaders/YoutubeUploader.h"

namespace KBL {

namespace {
template <class Proxy>
std::shared_ptr<IPlatformUploadProxy> makeProxy(std::shared_ptr<IUploadEventSink> owner) {
  return std::make_shared<Proxy>(std::move(owner));
}

template <class Request>
RefPtr<BsExternlMediaAuthRequest> makeRequest() {
  return makeRef<Request>();
}

int generalErrorValue(int) {
  return 0;
}

// clang-format off
constexpr UploadPlatform uploadPlatforms[] = {
    {transferYoutube, ema_youtube, "youtube", "YoutubeUploadProxy", requestYoutubeUploadFile,
     false, true, youtubeErrorValue, makeProxy<YoutubeUploadProxy>,
     makeRequest<BsExternlMediaAuthYoutubeUploadFileRequest>},
    {transferTiktok, ema_tiktok, "tiktok", "TiktokUploadProxy", requestTiktokUploadFile,
     true, false, generalErrorValue, makeProxy<TiktokUploadProxy>,
     makeRequest<BsExternlMediaAuthTiktokUploadFileRequest>},
    {transferDouyin, ema_douyin, "douyin", "DouyinUploadProxy", requestDouyinUploadFile,
     true, false, generalErrorValue, makeProxy<DouyinUploadProxy>,
     makeRequest<BsExternlMediaAuthDouyinUploadFileRequest>},
};
// clang-format on
}  // namespace

const UploadPlatform* findUploadPlatform(int transferPlatform) {
  for (const UploadPlatform& platform : uploadPlatforms) {
    if (platform.transferPlatform == transferPlatform) return &platform;
  }
  return nullptr;
}

RefPtr<BsExternlMediaAuthRequest> makeUploadRequest(int diskType) {
  for (const UploadPlatform& platform : uploadPlatforms) {
    if (platform.managerIndex == diskType) return platform.makeRequest();
  }
  return nullptr;
}

}  // namespace KBL
