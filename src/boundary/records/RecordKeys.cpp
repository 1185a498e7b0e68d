#include "boundary/records/RecordKeys.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/BsNet/KnownKeys.h"

namespace KBL {

void registerRecordKeys() {
  registerKnownCharKeys({
      ExternlMediaLoginCharKey::userSessionId,
      ExternlMediaLoginCharKey::timeout_seconds,
      ExternlMediaLoginCharKey::url,
      ExternlMediaLoginCharKey::platformId,
      ExternlMediaLoginCharKey::use_client,
      ExternlMediaLoginCharKey::scope,
      ExternlUserConsumeCharKey::use_client,
      ExternlUserConsumeCharKey::action_type,
      ExternlMediaAuthUserCharKey::userSessionId,
      ExternlMediaAuthUserCharKey::userFirstName,
      ExternlMediaAuthUserCharKey::userLastName,
      ExternlMediaAuthUserCharKey::userNickName,
      ExternlMediaAuthUserCharKey::userAccount,
      ExternlMediaAuthUserCharKey::videoCategories,
      ExternlMediaAuthUserCharKey::thirdAccessToken,
      ExternlMediaUploadCharKey::seq,
      ExternlMediaUploadCharKey::stopFlag,
      ExternlMediaUploadCharKey::progress,
      ExternlMediaUploadCharKey::videoUrl,
      ExternlMediaUploadCharKey::filePath,
      ExternlMediaUploadCharKey::title,
      ExternlMediaUploadCharKey::desc,
      ExternlMediaUploadCharKey::tags,
      ExternlMediaUploadCharKey::category,
      ExternlMediaUploadCharKey::privacy,
      ExternlMediaUploadCharKey::thumbnailPath,
      ExternlMediaMixedCharKey::code,
      ExternlMediaMixedCharKey::userSessionId,
      ExternlMediaMixedCharKey::userAccountUid,
      ExternlMediaMixedCharKey::userAccount,
      ExternlMediaMixedCharKey::userFirstName,
      ExternlMediaMixedCharKey::userLastName,
      ExternlMediaMixedCharKey::userNickName,
      ExternlMediaMixedCharKey::userAvatarLocal,
      ExternlMediaMixedCharKey::userAvatarUrl,
      ExternlMediaMixedCharKey::videoCategories,
      ExternlMediaMixedCharKey::thirdAccessToken,
      ExternlMediaMixedCharKey::accessToken,
      ExternlMediaMixedCharKey::refreshToken,
      ExternlMediaMixedCharKey::openUrl,
      ExternlMediaMixedCharKey::sessionId,
      ExternlMediaMixedCharKey::authSupportCode,
      ExternlMediaMixedCharKey::callbackUrl,
  });
  registerKnownIntKeys({
      ExternlMediaMixedIntKey::expiresIn,
      ExternlMediaMixedIntKey::expiresTimestamp,
      ExternlMediaMixedIntKey::tokenType,
      ExternlMediaMixedIntKey::status,
  });
}

}  // namespace KBL
