#include "uploaders/UploadRequests.h"

#include "uploaders/BsExternlMediaAuthDouyinUploadFileRequest.h"
#include "uploaders/BsExternlMediaAuthTiktokUploadFileRequest.h"
#include "uploaders/BsExternlMediaAuthYoutubeUploadFileRequest.h"

namespace KBL {

RefPtr<BsExternlMediaAuthRequest> makeUploadRequest(int diskType) {
  switch (diskType) {
    case ema_youtube:
      return makeRef<BsExternlMediaAuthYoutubeUploadFileRequest>();
    case ema_tiktok:
      return makeRef<BsExternlMediaAuthTiktokUploadFileRequest>();
    case ema_douyin:
      return makeRef<BsExternlMediaAuthDouyinUploadFileRequest>();
    default:
      return nullptr;
  }
}

}  // namespace KBL
