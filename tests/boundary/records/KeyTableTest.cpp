#include "boundary/records/Records.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace KBL;

namespace {

struct KeyRow {
  const char** variable;
  std::string text;
};

std::vector<KeyRow> keyTable() {
  using Login = ExternlMediaLoginCharKey;
  using Consume = ExternlUserConsumeCharKey;
  using User = ExternlMediaAuthUserCharKey;
  using Upload = ExternlMediaUploadCharKey;
  using Mixed = ExternlMediaMixedCharKey;
  using MixedInt = ExternlMediaMixedIntKey;
  return {
      {&Login::userSessionId, "externlmedia_user_uuid"},
      {&Login::timeout_seconds, "externlmedia_timeout_seconds"},
      {&Login::url, "externlmedia_url"},
      {&Login::platformId, "externlmedia_platform_id"},
      {&Login::use_client, "externlmedia_use_client"},
      {&Login::scope, "externlmedia_scope"},
      {&Consume::use_client, "user_consume_use_client"},
      {&Consume::action_type, "user_consume_action_type"},
      {&User::userSessionId, "externlmedia_user_uuid"},
      {&User::userFirstName, "externlmedia_user_first_name"},
      {&User::userLastName, "externlmedia_user_last_name"},
      {&User::userNickName, "externlmedia_user_nick_name"},
      {&User::userAccount, "externlmedia_user_account"},
      {&User::videoCategories, "externlmedia_video_categories"},
      {&User::thirdAccessToken, "externlmedia_third_access_token"},
      {&Upload::seq, "upload_seq"},
      {&Upload::stopFlag, "upload_stop"},
      {&Upload::progress, "upload_progress"},
      {&Upload::videoUrl, "upload_video_url"},
      {&Upload::filePath, "upload_file_path"},
      {&Upload::title, "upload_title"},
      {&Upload::desc, "upload_desc"},
      {&Upload::tags, "upload_tags"},
      {&Upload::category, "upload_category"},
      {&Upload::privacy, "upload_privacy"},
      {&Upload::thumbnailPath, "upload_thumbnail_path"},
      {&Mixed::code, "loud_disklogin_callback_code"},
      {&Mixed::userSessionId, "externlmedia_user_uuid"},
      {&Mixed::userAccountUid, "externlmedia_user_account_uid"},
      {&Mixed::userAccount, "externlmedia_user_account"},
      {&Mixed::userFirstName, "externlmedia_user_first_name"},
      {&Mixed::userLastName, "externlmedia_user_last_name"},
      {&Mixed::userNickName, "externlmedia_user_nick_name"},
      {&Mixed::userAvatarLocal, "externlmedia_avatar_local"},
      {&Mixed::userAvatarUrl, "externlmedia_avatar_url"},
      {&Mixed::videoCategories, "externlmedia_video_categories"},
      {&Mixed::thirdAccessToken, "externlmedia_third_access_token"},
      {&Mixed::accessToken, "externlmedia_access_token"},
      {&Mixed::refreshToken, "externlmedia_refresh_token"},
      {&Mixed::openUrl, "externlmedia_open_url"},
      {&Mixed::sessionId, "externlmedia_session_id"},
      {&Mixed::authSupportCode, "loud_disklogin_auth_support_code"},
      {&Mixed::callbackUrl, "externlmedia_callback_url"},
      {&MixedInt::expiresIn, "externlmedia_expires_in"},
      {&MixedInt::expiresTimestamp, "externlmedia_timestamp"},
      {&MixedInt::tokenType, "externlmedia_token_type"},
      {&MixedInt::status, "externlmedia_login_status"},
  };
}

}  // namespace

TEST(KeyTable, HasFortySevenVariables) {
  std::set<const char**> variables;
  for (const KeyRow& row : keyTable()) variables.insert(row.variable);
  EXPECT_EQ(variables.size(), 47U);
}

TEST(KeyTable, EveryVariableHasItsText) {
  for (const KeyRow& row : keyTable()) EXPECT_STREQ(*row.variable, row.text.c_str());
}

TEST(KeyTable, TheThreeUserKeysAddressOneEntry) {
  const auto record = makeRef<BsExternlMediaAuthMixedInfo>();
  record->setCharKeyConfig(ExternlMediaMixedCharKey::userSessionId, "uuid-1");

  EXPECT_STREQ(record->charKeyConfig(ExternlMediaLoginCharKey::userSessionId), "uuid-1");
  EXPECT_STREQ(record->charKeyConfig(ExternlMediaAuthUserCharKey::userSessionId), "uuid-1");
}

TEST(KeyTable, StopFlagHasItsThreeTexts) {
  EXPECT_STREQ(UploadStopFlag::success, "upload_success");
  EXPECT_STREQ(UploadStopFlag::error, "upload_error");
  EXPECT_STREQ(UploadStopFlag::userCancelled, "user_cancelled");
}
