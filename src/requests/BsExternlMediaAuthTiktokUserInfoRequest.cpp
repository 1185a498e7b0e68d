#include "requests/BsExternlMediaAuthTiktokUserInfoRequest.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "requests/JsonAccess.h"

namespace KBL {

namespace {
constexpr RequestConstants constants = {requestTiktokUserInfo, httpPost, "urlMediaAuthTiktokUserInfo",
                                        "ExternlMediaAuthTiktokUserInfo"};
}

BsExternlMediaAuthTiktokUserInfoRequest::BsExternlMediaAuthTiktokUserInfoRequest()
    : ProfileRequest(constants) {}

_Result BsExternlMediaAuthTiktokUserInfoRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                         NetReply* reply) {
  if (info == nullptr) return resultFailed;
  const std::string token = textOf(info, ExternlMediaMixedCharKey::thirdAccessToken);
  if (token.empty()) return refuse(*reply, ErrorCode::tokenMissing, "access token invalid");

  Json::Value body(Json::objectValue);
  body["access_token"] = token;
  for (const char* const field : {"open_id", "avatar_url", "display_name"}) body["fields"].append(field);
  client->setHeaders({{"Content-Type", "application/json;"}});
  client->setBody(compactJson(body));
  return exchange(*client, *reply, configuredUrl());
}

/// Whatever is wrong, the message is the same one; only the server's number is kept.
int BsExternlMediaAuthTiktokUserInfoRequest::checkResponseValid(const std::string& content, Json::Value& root,
                                                                std::string& message, int& code) {
  code = 0;
  bool valid = false;
  if (parseJson(content, root, true)) {
    const Json::Value& error = jsonMember(root, "error");
    code = jsonCode(error, "code");
    valid = error.isObject() && code == 0;
  }
  if (!valid) message = "can't read json.";
  logReply(", tiktok user info error code:", code, message, ", content:", content);
  return valid ? 1 : 0;
}

void BsExternlMediaAuthTiktokUserInfoRequest::clearFields() {
  openId_.clear();
  nickName_.clear();
  avatarUrl_.clear();
}

void BsExternlMediaAuthTiktokUserInfoRequest::readFields(const Json::Value& root) {
  const Json::Value& user = jsonMember(jsonMember(root, "data"), "user");
  openId_ = jsonText(user, "open_id");
  nickName_ = jsonText(user, "display_name");
  avatarUrl_ = jsonText(user, "avatar_url");
}

void BsExternlMediaAuthTiktokUserInfoRequest::publish(BsBaseInfoRW& record) {
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userSessionId, userUuid_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userAccountUid, openId_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userNickName, nickName_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userAvatarUrl, avatarUrl_.c_str());
}

}  // namespace KBL
