#include "requests/ProfileRequests.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "json/JsonAccess.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/FileUtil.h>

#include <cstddef>

namespace KBL {

namespace {
constexpr RequestConstants youtubeUserInfo = {
    requestYoutubeUserInfo, httpGet, "urlCloudDiskAuthGoogleDiskUserInfo", "ExternlMediaAuthYoutubeUserInfo"};
constexpr RequestConstants youtubeVideoCategory = {requestYoutubeVideoCategory, httpGet,
                                                   "urlYoutubeVideoCategories",
                                                   "ExternlMediaAuthYoutubeVideoCategory"};
constexpr RequestConstants tiktokUserInfo = {requestTiktokUserInfo, httpPost, "urlMediaAuthTiktokUserInfo",
                                             "ExternlMediaAuthTiktokUserInfo"};
constexpr RequestConstants douyinUserInfo = {requestDouyinUserInfo, httpGet, "urlMediaAuthDouyinUserInfo",
                                             "ExternlMediaAuthDouyinUserInfo"};

constexpr UserField youtubeFields[] = {
    {"id", &ExternlMediaMixedCharKey::userAccountUid},
    {"email", &ExternlMediaMixedCharKey::userAccount},
    {"name", &ExternlMediaMixedCharKey::userNickName},
    {"given_name", &ExternlMediaMixedCharKey::userFirstName},
    {"family_name", &ExternlMediaMixedCharKey::userLastName},
    {"picture", &ExternlMediaMixedCharKey::userAvatarUrl},
    {"locale", nullptr},
};
constexpr UserField tiktokFields[] = {
    {"open_id", &ExternlMediaMixedCharKey::userAccountUid},
    {"display_name", &ExternlMediaMixedCharKey::userNickName},
    {"avatar_url", &ExternlMediaMixedCharKey::userAvatarUrl},
};
constexpr UserField douyinFields[] = {
    {"open_id", &ExternlMediaMixedCharKey::userAccountUid},
    {"union_id", &ExternlMediaMixedCharKey::userAccount},
    {"nickname", &ExternlMediaMixedCharKey::userNickName},
    {"avatar", &ExternlMediaMixedCharKey::userAvatarUrl},
};
}  // namespace

bool ProfileRequest::readReply(const Json::Value& root, const std::string&, IBsErrorInfo&, const NetReply*) {
  readFields(root);
  return true;
}

int ProfileRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info, IBsErrorInfo*, NetReply*) {
  if (!gotResult()) return 1;
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) publish(*record);
  keepCopyAsReply(info);
  ExternlMediaAuthCallbackProxy::instance().updateInfo(ownerTag(), userUuid(), info);
  return 0;
}

// --- What tells who the user is

void UserInfoRequest::readFields(const Json::Value& root) {
  const Json::Value& user = userIn(root);
  for (const UserField& field : fields_) texts_.push_back(jsonText(user, field.member));
}

void UserInfoRequest::publish(BsBaseInfoRW& record) {
  record.setCharKeyConfig(ExternlMediaMixedCharKey::userSessionId, userUuid().c_str());
  for (std::size_t i = 0; i < texts_.size(); ++i) {
    if (fields_[i].key != nullptr) record.setCharKeyConfig(*fields_[i].key, texts_[i].c_str());
  }
}

std::string UserInfoRequest::textFor(const char* const& key) const {
  for (std::size_t i = 0; i < texts_.size(); ++i) {
    if (fields_[i].key == &key) return texts_[i];
  }
  return {};
}

// --- YouTube: the user

BsExternlMediaAuthYoutubeUserInfoRequest::BsExternlMediaAuthYoutubeUserInfoRequest()
    : UserInfoRequest(youtubeUserInfo, youtubeFields) {}

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
  return checkReply(googleReply, content, root, message, code);
}

void BsExternlMediaAuthYoutubeUserInfoRequest::publish(BsBaseInfoRW& record) {
  UserInfoRequest::publish(record);
  fetchAvatar(record);
}

/// Does nothing in effect, since a download to an empty path is refused; the step is kept for the day when
/// avatars have a place.
void BsExternlMediaAuthYoutubeUserInfoRequest::fetchAvatar(BsBaseInfoRW& record) {
  static constexpr const char* avatarPath = "";
  const Path avatar(avatarPath);
  const auto isThere = [&] { return FileUtil::exists(avatar) && FileUtil::size(avatar) > 0; };
  if (isThere()) return;
  FileUtil::remove(avatar);
  download(textFor(ExternlMediaMixedCharKey::userAvatarUrl).c_str(), avatarPath, this, nullptr);
  if (isThere()) record.setCharKeyConfig(ExternlMediaMixedCharKey::userAvatarLocal, avatarPath);
}

// --- YouTube: the video categories

BsExternlMediaAuthYoutubeVideoCategoryRequest::BsExternlMediaAuthYoutubeVideoCategoryRequest()
    : ProfileRequest(youtubeVideoCategory) {}

_Result BsExternlMediaAuthYoutubeVideoCategoryRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                               NetReply* reply) {
  const std::string token = textOf(info, ExternlMediaMixedCharKey::thirdAccessToken);
  if (token.empty()) return refuse(*reply, ErrorCode::tokenMissing, "third access token param invalid");
  client->setHeaders({{"accept", "application/json"}, {"authorization", "Bearer " + token}});
  return exchange(*client, *reply, configuredUrl() + "?part=snippet&regionCode=us&alt=json");
}

int BsExternlMediaAuthYoutubeVideoCategoryRequest::checkResponseValid(const std::string& content,
                                                                      Json::Value& root, std::string& message,
                                                                      int& code) {
  return checkReply(googleReply, content, root, message, code);
}

void BsExternlMediaAuthYoutubeVideoCategoryRequest::clearMembers() {
  categories_.clear();
}

/// An item counts when it says at all whether it is assignable; what it says is not read, and the text keeps
/// its final bar. Both are to stay so.
void BsExternlMediaAuthYoutubeVideoCategoryRequest::readFields(const Json::Value& root) {
  const Json::Value& items = jsonMember(root, "items");
  if (!items.isArray()) return;
  for (const Json::Value& item : items) {
    const Json::Value& snippet = jsonMember(item, "snippet");
    if (jsonMember(snippet, "assignable").isNull()) continue;
    categories_ += jsonText(snippet, "title") + "|";
  }
}

void BsExternlMediaAuthYoutubeVideoCategoryRequest::publish(BsBaseInfoRW& record) {
  record.setCharKeyConfig(ExternlMediaMixedCharKey::videoCategories, categories_.c_str());
}

// --- TikTok

BsExternlMediaAuthTiktokUserInfoRequest::BsExternlMediaAuthTiktokUserInfoRequest()
    : UserInfoRequest(tiktokUserInfo, tiktokFields) {}

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

int BsExternlMediaAuthTiktokUserInfoRequest::checkResponseValid(const std::string& content, Json::Value& root,
                                                                std::string& message, int& code) {
  return checkReply(tiktokProfileReply, content, root, message, code);
}

const Json::Value& BsExternlMediaAuthTiktokUserInfoRequest::userIn(const Json::Value& root) const {
  return jsonMember(jsonMember(root, "data"), "user");
}

// --- Douyin

BsExternlMediaAuthDouyinUserInfoRequest::BsExternlMediaAuthDouyinUserInfoRequest()
    : UserInfoRequest(douyinUserInfo, douyinFields) {}

_Result BsExternlMediaAuthDouyinUserInfoRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                         NetReply* reply) {
  if (info == nullptr) return resultFailed;
  const char* const uid = info->charKeyConfig(ExternlMediaMixedCharKey::userAccountUid);
  if (uid == nullptr) return refuse(*reply, ErrorCode::paramInvalid, "account uid invalid");
  const std::string token = textOf(info, ExternlMediaMixedCharKey::thirdAccessToken);
  if (token.empty()) return refuse(*reply, ErrorCode::tokenMissing, "access token invalid");
  return exchange(*client, *reply, configuredUrl() + "?access_token=" + token + "&open_id=" + uid);
}

int BsExternlMediaAuthDouyinUserInfoRequest::checkResponseValid(const std::string& content, Json::Value& root,
                                                                std::string& message, int& code) {
  return checkReply(douyinReply, content, root, message, code);
}

const Json::Value& BsExternlMediaAuthDouyinUserInfoRequest::userIn(const Json::Value& root) const {
  return jsonMember(root, "data");
}

}  // namespace KBL
