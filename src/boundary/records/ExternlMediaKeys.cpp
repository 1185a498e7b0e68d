#include "boundary/records/Records.h"
#include <BsNet/KnownKeys.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

namespace KBL {

const char* ExternlMediaLoginCharKey::userSessionId = "externlmedia_user_uuid";
const char* ExternlMediaLoginCharKey::timeout_seconds = "externlmedia_timeout_seconds";
const char* ExternlMediaLoginCharKey::url = "externlmedia_url";
const char* ExternlMediaLoginCharKey::platformId = "externlmedia_platform_id";
const char* ExternlMediaLoginCharKey::use_client = "externlmedia_use_client";
const char* ExternlMediaLoginCharKey::scope = "externlmedia_scope";

const char* ExternlUserConsumeCharKey::use_client = "user_consume_use_client";
const char* ExternlUserConsumeCharKey::action_type = "user_consume_action_type";

const char* ExternlMediaAuthUserCharKey::userSessionId = "externlmedia_user_uuid";
const char* ExternlMediaAuthUserCharKey::userFirstName = "externlmedia_user_first_name";
const char* ExternlMediaAuthUserCharKey::userLastName = "externlmedia_user_last_name";
const char* ExternlMediaAuthUserCharKey::userNickName = "externlmedia_user_nick_name";
const char* ExternlMediaAuthUserCharKey::userAccount = "externlmedia_user_account";
const char* ExternlMediaAuthUserCharKey::videoCategories = "externlmedia_video_categories";
const char* ExternlMediaAuthUserCharKey::thirdAccessToken = "externlmedia_third_access_token";

const char* ExternlMediaUploadCharKey::seq = "upload_seq";
const char* ExternlMediaUploadCharKey::stopFlag = "upload_stop";
const char* ExternlMediaUploadCharKey::progress = "upload_progress";
const char* ExternlMediaUploadCharKey::videoUrl = "upload_video_url";
const char* ExternlMediaUploadCharKey::filePath = "upload_file_path";
const char* ExternlMediaUploadCharKey::title = "upload_title";
const char* ExternlMediaUploadCharKey::desc = "upload_desc";
const char* ExternlMediaUploadCharKey::tags = "upload_tags";
const char* ExternlMediaUploadCharKey::category = "upload_category";
const char* ExternlMediaUploadCharKey::privacy = "upload_privacy";
const char* ExternlMediaUploadCharKey::thumbnailPath = "upload_thumbnail_path";

// Two texts of this table lack their first letter; hosts compare by the variables, so they stay byte for
// byte.
const char* ExternlMediaMixedCharKey::code = "loud_disklogin_callback_code";
const char* ExternlMediaMixedCharKey::userSessionId = "externlmedia_user_uuid";
const char* ExternlMediaMixedCharKey::userAccountUid = "externlmedia_user_account_uid";
const char* ExternlMediaMixedCharKey::userAccount = "externlmedia_user_account";
const char* ExternlMediaMixedCharKey::userFirstName = "externlmedia_user_first_name";
const char* ExternlMediaMixedCharKey::userLastName = "externlmedia_user_last_name";
const char* ExternlMediaMixedCharKey::userNickName = "externlmedia_user_nick_name";
const char* ExternlMediaMixedCharKey::userAvatarLocal = "externlmedia_avatar_local";
const char* ExternlMediaMixedCharKey::userAvatarUrl = "externlmedia_avatar_url";
const char* ExternlMediaMixedCharKey::videoCategories = "externlmedia_video_categories";
const char* ExternlMediaMixedCharKey::thirdAccessToken = "externlmedia_third_access_token";
const char* ExternlMediaMixedCharKey::accessToken = "externlmedia_access_token";
const char* ExternlMediaMixedCharKey::refreshToken = "externlmedia_refresh_token";
const char* ExternlMediaMixedCharKey::openUrl = "externlmedia_open_url";
const char* ExternlMediaMixedCharKey::sessionId = "externlmedia_session_id";
const char* ExternlMediaMixedCharKey::authSupportCode = "loud_disklogin_auth_support_code";
const char* ExternlMediaMixedCharKey::callbackUrl = "externlmedia_callback_url";

const char* ExternlMediaMixedIntKey::expiresIn = "externlmedia_expires_in";
const char* ExternlMediaMixedIntKey::expiresTimestamp = "externlmedia_timestamp";
const char* ExternlMediaMixedIntKey::tokenType = "externlmedia_token_type";
const char* ExternlMediaMixedIntKey::status = "externlmedia_login_status";

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
