#include "uploaders/requests/makeUploadRequest.h"

#include "uploaders/requests/BsExternlMediaAuthDouyinUploadFileRequest.h"
#include "uploaders/requests/BsExternlMediaAuthTiktokUploadFileRequest.h"
#include "uploaders/requests/BsExternlMediaAuthYoutubeUploadFileRequest.h"
#include <ExternlMediaTransfer/ExternlMediaPlatform.h>

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
