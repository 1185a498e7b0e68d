#include "sandbox/services/openplatform/TiktokProfile.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/services/Avatar.h"
#include "sandbox/services/openplatform/OpenPlatform.h"

namespace sandbox {

namespace {

constexpr const char* userInfoPath = "/tiktok/user/info/";

Reply answer(const Json::Value& data, int code, const std::string& message) {
  Json::Value root;
  root["data"] = data;
  root["error"]["code"] = code;
  root["error"]["message"] = message;
  Reply reply;
  reply.body = compactJson(root);
  return reply;
}

Reply failure(int code, const std::string& message) {
  return answer(Json::Value(Json::objectValue), code, message);
}

Json::Value fieldsUnlessAsked() {
  Json::Value fields(Json::arrayValue);
  fields.append("open_id");
  fields.append("avatar_url");
  return fields;
}

}  // namespace

void TiktokProfile::addTo(Router& router) {
  router.add({Route::tiktokUserInfo, "POST", userInfoPath, [this](Call& call) { return userInfo(call); }});
}

std::vector<std::pair<std::string, std::string>> TiktokProfile::urlKeys() const {
  return {{"urlMediaAuthTiktokUserInfo", userInfoPath}};
}

Reply TiktokProfile::userInfo(const Call& call) {
  const std::optional<Json::Value> body = parseJson(call.body);
  if (!body || !body->isObject()) return failure(open_platform::invalidParameter, "Invalid parameters");
  const std::optional<std::string> token = textMember(*body, "access_token");
  const Json::Value fields = body->get("fields", fieldsUnlessAsked());
  if (!token || !fields.isArray() || fields.empty())
    return failure(open_platform::invalidParameter, "Invalid parameters");
  const std::optional<User> user = context_.userOf(*token, Platform::tiktok);
  if (!user) {
    const bool known = context_.accounts.token(*token).has_value();
    return known ? failure(open_platform::expiredToken, "Access token expired")
                 : failure(open_platform::invalidToken, "Access token invalid");
  }

  Json::Value known;
  known["open_id"] = user->openId;
  known["union_id"] = "union-" + user->openId;
  for (const char* name : {"avatar_url", "avatar_url_100", "avatar_url_200", "avatar_large_url"}) {
    known[name] = Avatar::url(context_, *user);
  }
  known["display_name"] = user->name;
  Json::Value data;
  data["user"] = Json::Value(Json::objectValue);
  for (const Json::Value& field : fields) {
    if (!field.isString() || !known.isMember(field.asString()))
      return failure(open_platform::invalidParameter, "Invalid field");
    data["user"][field.asString()] = known[field.asString()];
  }
  return answer(data, 0, "");
}

}  // namespace sandbox
