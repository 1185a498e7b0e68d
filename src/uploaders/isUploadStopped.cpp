#include "uploaders/isUploadStopped.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/ExternlMediaKeys.h"

#include <string_view>

namespace KBL {

bool isUploadStopped(const std::string& ownerTag, IBsInfoReader* uploadInfo) {
  const char* const text =
      uploadInfo == nullptr ? nullptr : uploadInfo->charKeyConfig(ExternlMediaUploadCharKey::stopFlag);
  const std::string_view stopFlag = text == nullptr ? "" : text;
  if (stopFlag == UploadStopFlag::userCancelled || stopFlag == UploadStopFlag::error) return true;
  return !ExternlMediaAuthCallbackProxy::instance().knowsOwner(ownerTag);
}

}  // namespace KBL
