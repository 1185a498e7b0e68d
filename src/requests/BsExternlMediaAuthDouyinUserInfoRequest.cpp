#include "requests/BsExternlMediaAuthDouyinUserInfoRequest.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "requests/JsonAccess.h"

namespace KBL {

namespace {
constexpr RequestConstants constants = {requestDouyinUserInfo, httpGet, "urlMediaAuthDouyinUserInfo",
                                        "ExternlMediaAuthDouyinUserInfo"};
}

BsExternlMediaAuthDouyinUserInfoRequest::BsExternlMediaAuthDouyinUserInfoRequest()
    : ProfileRequest(constants) {}

_Result BsExternlMediaAuthDouyinUserInfoRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                         NetReply* reply) {
  if (info == nullptr) return resultFailed;
  const std::string uid = textOf(info, ExternlMediaMixedCharKey::userAccountUid);
  if (uid.empty()) return refuse(*reply, ErrorCode::paramInvalid, "account uid invalid");
  const std::string token = textOf(info, ExternlMediaMixedCharKey::thirdAccessToken);
  if (token.empty()) return refuse(*reply, ErrorCode::tokenMissing, "access token invalid");
  return exchange(*client, *reply, configuredUrl() + "?access_token=" + token + "&open_id=" + uid);
}

int BsExternlMediaAuthDouyinUserInfoRequest::checkResponseValid(const std::string& content, Json::Value& root,
                                                                std::string& message, int& code) {
  code = 0;
  if (!parseJson(content, root, true)) {
    message = "can't read json. response:" + content;
    logReply(", Douyin user info error code:", code, message, ",content:", content);
    return 0;
  }
  const Json::Value& data = jsonMember(root, "data");
  code = jsonCode(data, "error_code");
  if (code == 0) return 1;
  message = jsonText(data, "description");
  return 0;
}

void BsExternlMediaAuthDouyinUserInfoRequest::clearFields() {
  openId_.clear();
  nickName_.clear();
  unionId_.clear();
  avatarUrl_.clear();
}

void BsExternlMediaAuthDouyinUserInfoRequest::readFields(const Json::Value& root) {
  const Json::Value& data = jsonMember(root, "data");
  openId_ = jsonText(data, "open_id");
  unionId_ = jsonText(data, "union_id");
  nickName_ = jsonText(data, "nickname");
  avatarUrl_ = jsonText(data, "avatar");
}

void BsExternlMediaAuthDouyinUserInfoRequest::publish(BsBaseInfoRW& record) {
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userSessionId, userUuid_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userAccountUid, openId_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userAccount, unionId_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userNickName, nickName_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userAvatarUrl, avatarUrl_.c_str());
}

}  // namespace KBL
