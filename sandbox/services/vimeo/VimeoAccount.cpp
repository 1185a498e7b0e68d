#include "sandbox/services/vimeo/VimeoAccount.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"

#include <algorithm>
#include <array>

namespace sandbox {

namespace {

struct Category {
  const char* word;
  const char* name;
};

constexpr std::array<Category, 10> allCategories{{{"animation", "Animation"},
                                                  {"comedy", "Comedy"},
                                                  {"documentary", "Documentary"},
                                                  {"experimental", "Experimental"},
                                                  {"food", "Food"},
                                                  {"journalism", "Reporting & Journalism"},
                                                  {"music", "Music"},
                                                  {"narrative", "Narrative"},
                                                  {"sports", "Sports"},
                                                  {"travel", "Travel"}}};

}  // namespace

const OauthTraits VimeoAccount::traits{
    Platform::vimeo, Route::vimeoLogin, "vimeoLogin", "/vimeo/oauth/authorize", false, false};

VimeoAccount::VimeoAccount(ServiceContext& context) : OauthService(context, traits) {}

void VimeoAccount::addTo(Router& router) {
  addLoginTo(router);
  const std::string api = apiPath;
  router.add(
      {Route::vimeoToken, "POST", api + "/oauth/access_token", [this](Call& call) { return token(call); }});
  router.add({Route::vimeoProfile, "GET", api + "/me", [this](Call& call) { return profile(call); }});
  router.add(
      {Route::vimeoCategories, "GET", api + "/categories", [this](Call& call) { return categories(call); }});
  router.add(
      {Route::vimeoTokens, "DELETE", api + "/tokens", [this](Call& call) { return removeToken(call); }});
}

std::vector<std::pair<std::string, std::string>> VimeoAccount::scriptKeys() const {
  return {loginKey(), {"vimeoToken", std::string(apiPath) + "/oauth/access_token"}, {"vimeoApi", apiPath}};
}

/// The application shows itself by basic authentication.
Reply VimeoAccount::token(const Call& call) {
  FormFields fields = bodyFields(call);
  const std::string pair = base64Decoded(authorization(call, "Basic")).value_or("");
  const std::size_t colon = pair.find(':');
  if (colon == std::string::npos) {
    return standardError({"invalid_client", "The application must authenticate with its id and secret."},
                         401);
  }
  if (fieldText(fields, "grant_type") != "authorization_code") {
    return standardError({"unsupported_grant_type", "The grant type is not supported."});
  }
  fields.insert(fields.begin(),
                {{"client_id", pair.substr(0, colon)}, {"client_secret", pair.substr(colon + 1)}});
  const Exchange exchange = exchangeCode(fields);
  if (!exchange.grant) {
    return standardError(exchange.refusal, exchange.refusal.error == "invalid_client" ? 401 : 400);
  }
  const std::optional<User> user = context_.accounts.user(exchange.grant->openId);
  if (!user) return standardError({"invalid_grant", "The user has gone."});
  Json::Value value;
  value["access_token"] = context_.accounts.issueAccessToken(Platform::vimeo, user->openId, std::nullopt);
  value["token_type"] = "bearer";
  value["scope"] = exchange.grant->request.scope.empty() ? "public" : exchange.grant->request.scope;
  value["user"]["uri"] = "/users/" + user->openId;
  value["user"]["name"] = user->name;
  context_.state.save();
  return json(value);
}

Reply VimeoAccount::profile(const Call& call) const {
  const std::optional<User> user = userOf(call.request.bearer());
  if (!user) return vimeoUnauthorized();
  Json::Value value;
  value["uri"] = "/users/" + user->openId;
  value["name"] = user->name;
  Json::Value& space = value["upload_quota"]["space"];
  space["free"] = Json::UInt64(freeSpace);
  space["max"] = Json::UInt64(2 * freeSpace);
  space["used"] = Json::UInt64(freeSpace);
  return json(value);
}

Reply VimeoAccount::categories(const Call& call) const {
  if (!userOf(call.request.bearer())) return vimeoUnauthorized();
  Json::Value value;
  value["total"] = Json::UInt64(allCategories.size());
  for (const Category& category : allCategories) {
    Json::Value item;
    item["uri"] = std::string("/categories/") + category.word;
    item["name"] = category.name;
    value["data"].append(item);
  }
  return json(value);
}

Reply VimeoAccount::removeToken(const Call& call) {
  const std::optional<User> user = userOf(call.request.bearer());
  if (!user) return vimeoUnauthorized();
  context_.accounts.revokeToken(call.request.bearer());
  context_.state.save();
  return {204, "", "application/json", {}};
}

Reply vimeoError(int status, int code, const std::string& message) {
  Json::Value value;
  value["error"] = message;
  value["developer_message"] = message;
  value["link"] = Json::Value();
  value["error_code"] = code;
  Reply reply;
  reply.status = status;
  reply.body = compactJson(value);
  reply.contentType = "application/vnd.vimeo.error+json";
  return reply;
}

Reply vimeoUnauthorized() {
  return vimeoError(401, 8003, "You must provide a valid authenticated access token.");
}

bool isVimeoCategory(const std::string& name) {
  return std::any_of(allCategories.begin(), allCategories.end(),
                     [&](const Category& category) { return name == category.word; });
}

}  // namespace sandbox
