// Start of the chain of requests that every native upload runs.

#include "authorize/AuthRequestChain.h"
#include "authorize/ExternlMediaAuthorize.h"
#include "boundary/records/ExternlMediaInfoType.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/KblLogger/KblLogger.h"
#include "requests/BsExternlMediaAuthClientCredentialsRequest.h"
#include "requests/BsExternlMediaAuthUserSupportConsumeRequest.h"
#include "uploaders/UploadPlatform.h"

namespace KBL {

void BsExternlMediaAuthorize::asyncUploadMediaFile(IBsExternlMediaUploadInfo* info,
                                                   IBsRequstCallback* callback, int consume) {
  if (info == nullptr) return;
  const Self self = holdSelf();
  KBL_LOG(info, logTag_ << "id: " << logTag_);
  const char* const wanted = info->charKeyConfig(ExternlMediaLoginCharKey::userSessionId);
  const auto now = context();
  const ExternlMediaCacheInfo* const record =
      findUserOrLast(now->cacheEntries, wanted == nullptr ? "" : wanted);
  if (record == nullptr) {
    reportAuthError(wanted == nullptr ? "" : wanted, infoTypeUpload, ErrorCode::paramInvalid,
                    logTag_ + ", empty data");
    return;
  }
  const auto upload = makeUploadRequest(record->diskType);
  if (!upload) {
    // Only a record that was tampered with leads here; the host hears of it like of a missing user.
    KBL_LOG(error, logTag_ << ", no uploader, disk type: " << record->diskType);
    reportAuthError(record->userUuid, infoTypeUpload, ErrorCode::paramInvalid, logTag_ + ", no uploader");
    return;
  }
  info->setCharKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken, record->thirdAccessToken.c_str());

  AuthRequestChain chain(*now, record->userUuid);
  chain.append<BsExternlMediaAuthClientCredentialsRequest>();
  if (consume != 0) chain.append<BsExternlMediaAuthUserSupportConsumeRequest>();
  chain.append(upload);
  upload->keepRecord(shareRef<IBsInfoReader>(info));
  if (chain.start(info, callback) != resultOk) KBL_LOG(error, logTag_ << ", upload not started");
}

}  // namespace KBL
