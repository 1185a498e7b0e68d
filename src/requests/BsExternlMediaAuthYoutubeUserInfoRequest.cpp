#include "requests/BsExternlMediaAuthYoutubeUserInfoRequest.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/KblUtils/FileUtil.h"
#include "requests/JsonAccess.h"

namespace KBL {

namespace {
constexpr RequestConstants constants = {requestYoutubeUserInfo, httpGet, "urlCloudDiskAuthGoogleDiskUserInfo",
                                        "ExternlMediaAuthYoutubeUserInfo"};
}

BsExternlMediaAuthYoutubeUserInfoRequest::BsExternlMediaAuthYoutubeUserInfoRequest()
    : GoogleProfileRequest(constants) {}

_Result BsExternlMediaAuthYoutubeUserInfoRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                          NetReply* reply) {
  // Not checked here: Google refuses an empty token itself.
  const std::string token = textOf(info, ExternlMediaMixedCharKey::thirdAccessToken);
  client->setHeaders({{"Content-Type", "application/json;"}});
  return exchange(*client, *reply, configuredUrl() + "?alt=json" + "&access_token=" + token);
}

int BsExternlMediaAuthYoutubeUserInfoRequest::checkResponseValid(const std::string& content,
                                                                 Json::Value& root, std::string& message,
                                                                 int& code) {
  return checkGoogleReply(content, root, message, code);
}

void BsExternlMediaAuthYoutubeUserInfoRequest::clearFields() {
  for (std::string* const field :
       {&id_, &email_, &name_, &givenName_, &familyName_, &picture_, &avatarPath_, &locale_}) {
    field->clear();
  }
}

void BsExternlMediaAuthYoutubeUserInfoRequest::readFields(const Json::Value& root) {
  id_ = jsonText(root, "id");
  email_ = jsonText(root, "email");
  name_ = jsonText(root, "name");
  givenName_ = jsonText(root, "given_name");
  familyName_ = jsonText(root, "family_name");
  picture_ = jsonText(root, "picture");
  locale_ = jsonText(root, "locale");
}

void BsExternlMediaAuthYoutubeUserInfoRequest::publish(BsBaseInfoRW& record) {
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userSessionId, userUuid_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userAccountUid, id_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userAccount, email_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userNickName, name_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userFirstName, givenName_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userLastName, familyName_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userAvatarUrl, picture_.c_str());
  fetchAvatar(record);
}

/// Does nothing in effect, since a download to an empty path is refused; the step is kept for the day when
/// avatars have a place.
void BsExternlMediaAuthYoutubeUserInfoRequest::fetchAvatar(BsBaseInfoRW& record) {
  const Path avatar(avatarPath_);
  const auto isThere = [&] { return FileUtil::exists(avatar) && FileUtil::size(avatar) > 0; };
  if (isThere()) return;
  FileUtil::remove(avatar);
  download(picture_.c_str(), avatarPath_.c_str(), this, nullptr);
  if (isThere()) record.setCharKeyConfig(ExternlMediaMixedCharKey::userAvatarLocal, avatarPath_.c_str());
}

}  // namespace KBL
