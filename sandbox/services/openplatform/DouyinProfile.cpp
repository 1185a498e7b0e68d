#include "sandbox/services/openplatform/DouyinProfile.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/services/Avatar.h"
#include "sandbox/services/openplatform/OpenPlatform.h"

namespace sandbox {

namespace {

constexpr const char* userInfoPath = "/douyin/oauth/userinfo/";

Reply answer(Json::Value data, int code, const std::string& description) {
  data["error_code"] = code;
  data["description"] = description;
  Json::Value root;
  root["data"] = std::move(data);
  root["message"] = code == 0 ? "success" : "error";
  Reply reply;
  reply.body = compactJson(root);
  return reply;
}

Reply failure(int code, const std::string& description) {
  return answer(Json::Value(Json::objectValue), code, description);
}

}  // namespace

void DouyinProfile::addTo(Router& router) {
  router.add({Route::douyinUserInfo, "GET", userInfoPath, [this](Call& call) { return userInfo(call); }});
}

std::vector<std::pair<std::string, std::string>> DouyinProfile::urlKeys() const {
  return {{"urlMediaAuthDouyinUserInfo", userInfoPath}};
}

Reply DouyinProfile::userInfo(const Call& call) {
  const std::string token = call.request.parameter("access_token").value_or("");
  const std::string openId = call.request.parameter("open_id").value_or("");
  if (token.empty() || openId.empty()) return failure(open_platform::invalidParameter, "parameter invalid");
  const std::optional<User> user = context_.userOf(token, Platform::douyin);
  if (!user) {
    const bool known = context_.accounts.token(token).has_value();
    return known ? failure(open_platform::expiredToken, "access_token expired")
                 : failure(open_platform::invalidToken, "access_token invalid");
  }
  if (user->openId != openId)
    return failure(open_platform::otherUser, "open_id does not belong to access_token");

  Json::Value data;
  data["open_id"] = user->openId;
  data["union_id"] = "union-" + user->openId;
  data["nickname"] = user->name;
  data["avatar"] = Avatar::url(context_, *user);
  return answer(std::move(data), 0, "");
}

}  // namespace sandbox
