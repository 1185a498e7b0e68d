#pragma once

#include "uploaders/requests/BsExternlMediaAuthDouyinUploadFileRequest.h"
#include "uploaders/requests/BsExternlMediaAuthTiktokUploadFileRequest.h"
#include "uploaders/requests/BsExternlMediaAuthYoutubeUploadFileRequest.h"
#include <ExternlMediaTransfer/ExternlMediaPlatform.h>
#include <KblUtils/RefPtr.h>

namespace KBL {

/// A new upload request for a user of the platform `diskType` (an ExternlMediaPlatform); null where the
/// platform has none.
[[nodiscard]] inline RefPtr<BsExternlMediaAuthRequest> makeUploadRequest(int diskType) {
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
