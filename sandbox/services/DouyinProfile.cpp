#include "sandbox/services/DouyinProfile.h"

#include "sandbox/JsonText.h"
#include "sandbox/services/Avatar.h"
#include "sandbox/services/OpenPlatform.h"

namespace sandbox {

namespace {

constexpr const char* kUserInfoPath = "/douyin/oauth/userinfo/";

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
  router.add({Route::douyinUserInfo, "GET", kUserInfoPath, [this](Call& call) { return userInfo(call); }});
}

std::vector<std::pair<std::string, std::string>> DouyinProfile::urlKeys() const {
  return {{"urlMediaAuthDouyinUserInfo", kUserInfoPath}};
}

Reply DouyinProfile::userInfo(const Call& call) {
  const std::string token = call.request.parameter("access_token").value_or("");
  const std::string openId = call.request.parameter("open_id").value_or("");
  if (token.empty() || openId.empty()) return failure(open_platform::kInvalidParameter, "parameter invalid");
  const std::optional<User> user = context_.userOf(token, Platform::douyin);
  if (!user) {
    const bool known = context_.accounts.token(token).has_value();
    return known ? failure(open_platform::kExpiredToken, "access_token expired")
                 : failure(open_platform::kInvalidToken, "access_token invalid");
  }
  if (user->openId != openId)
    return failure(open_platform::kOtherUser, "open_id does not belong to access_token");

  Json::Value data;
  data["open_id"] = user->openId;
  data["union_id"] = "union-" + user->openId;
  data["nickname"] = user->name;
  data["avatar"] = Avatar::url(context_, *user);
  return answer(std::move(data), 0, "");
}

}  // namespace sandbox
