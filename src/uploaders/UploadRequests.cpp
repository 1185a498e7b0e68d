#include "uploaders/UploadRequests.h"

#include "uploaders/BsExternlMediaAuthYoutubeUploadFileRequest.h"

namespace KBL {

RefPtr<BsExternlMediaAuthRequest> makeUploadRequest(int diskType) {
  switch (diskType) {
    case ema_youtube:
      return makeRef<BsExternlMediaAuthYoutubeUploadFileRequest>();
    default:
      return nullptr;
  }
}

}  // namespace KBL
