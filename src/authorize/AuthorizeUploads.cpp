#include "authorize/AuthorizeUploads.h"

#include "authorize/AuthRequestChain.h"
#include "authorize/managerLog.h"
#include "foundation/Texts.h"
#include "requests/AccountRequests.h"
#include "uploaders/requests/makeUploadRequest.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>

namespace KBL {

void startUpload(ManagerState& state, IBsExternlMediaUploadInfo* info, IBsRequstCallback* callback,
                 int consume) {
  KBL_MANAGER_LOG(severityInfo, "asyncUploadMediaFile", state.logTag << "id: " << state.logTag);
  const char* const wanted = info->charKeyConfig(ExternlMediaLoginCharKey::userSessionId);
  const auto users = state.users.read();
  const ExternlMediaCacheInfo* const record = findUserOrLast(users->entries, textOrEmpty(wanted));
  if (record == nullptr) {
    state.reportAuthError(textOrEmpty(wanted), infoTypeUpload, ErrorCode::paramInvalid,
                          state.logTag + ", empty data");
    return;
  }
  const auto upload = makeUploadRequest(record->diskType);
  if (!upload) {
    // Only a record that was tampered with leads here; the host hears of it like of a missing user.
    KBL_MANAGER_LOG(severityError, "asyncUploadMediaFile",
                    state.logTag << ", no uploader, disk type: " << record->diskType);
    state.reportAuthError(record->userUuid, infoTypeUpload, ErrorCode::paramInvalid,
                          state.logTag + ", no uploader");
    return;
  }
  info->setCharKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken, record->thirdAccessToken.c_str());

  const AuthContext context = state.requestContext();
  AuthRequestChain chain(context, record->userUuid);
  chain.append<BsExternlMediaAuthClientCredentialsRequest>();
  if (consume != 0) chain.append<BsExternlMediaAuthUserSupportConsumeRequest>();
  chain.append(upload);
  upload->keepRecord(shareRef<IBsInfoReader>(info));
  if (chain.start(info, callback) == resultOk) return;
  KBL_MANAGER_LOG(severityError, "asyncUploadMediaFile", state.logTag << ", upload not started");
  state.reportAuthError(record->userUuid, infoTypeUpload, ErrorCode::noNetworkClient,
                        "create network request failed");
}

}  // namespace KBL
