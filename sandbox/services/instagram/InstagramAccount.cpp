#include "sandbox/services/instagram/InstagramAccount.h"

#include "sandbox/base/MediaAccounts.h"
#include "sandbox/services/GraphPaths.h"
#include "sandbox/services/facebook/FacebookError.h"

#include <sstream>

namespace sandbox {

namespace {

constexpr const char* tokenPath = "/instagram/oauth/access_token";
constexpr std::chrono::hours shortLife{1};
constexpr std::chrono::hours longLife{60 * 24};

bool isLongLived(const TokenState& state) {
  return state.expiry - std::chrono::system_clock::now() > 2 * shortLife;
}

}  // namespace

const OauthTraits InstagramAccount::traits{
    Platform::instagram, Route::instagramLogin, "instagramLogin", "/instagram/oauth/authorize", false, true};

InstagramAccount::InstagramAccount(ServiceContext& context) : OauthService(context, traits) {}

void InstagramAccount::addTo(Router& router) {
  addLoginTo(router);
  const std::string tokens = GraphPaths::instagramTokens;
  router.add({Route::instagramToken, "POST", tokenPath, [this](Call& call) { return token(call); }});
  router.add({Route::instagramLongToken, "GET", tokens + "/access_token",
              [this](Call& call) { return longLived(call); }});
  router.add({Route::instagramLongToken, "GET", tokens + "/refresh_access_token",
              [this](Call& call) { return renewed(call); }});
  router.add({Route::instagramProfile, "GET", std::string(GraphPaths::instagram) + "/me",
              [this](Call& call) { return profile(call); }});
}

std::vector<std::pair<std::string, std::string>> InstagramAccount::scriptKeys() const {
  return {loginKey(),
          {"instagramToken", tokenPath},
          {"instagramGraph", GraphPaths::instagramTokens},
          {"instagramApi", GraphPaths::instagram}};
}

Reply InstagramAccount::token(const Call& call) {
  const FormFields fields = bodyFields(call);
  const bool rightKind = fieldText(fields, "grant_type") == "authorization_code";
  const Exchange exchange =
      rightKind ? exchangeCode(fields) : Exchange{std::nullopt, {"invalid_request", "Invalid grant_type"}};
  Json::Value value;
  if (!exchange.grant) {
    value["error_type"] = "OAuthException";
    value["code"] = 400;
    value["error_message"] = exchange.refusal.description;
    return json(value, 400);
  }
  const std::string& openId = exchange.grant->openId;
  value["access_token"] = context_.accounts.issueAccessToken(Platform::instagram, openId, shortLife);
  value["user_id"] = openId;
  value["permissions"] = exchange.grant->request.scope;
  context_.state.save();
  return json(value);
}

Reply InstagramAccount::longLived(const Call& call) {
  const FormFields& fields = call.request.query;
  if (fieldText(fields, "grant_type") != "ig_exchange_token")
    return facebookBadParameter("Invalid grant_type.");
  const std::string& secret = context_.options.appSecret;
  if (!secret.empty() && fieldText(fields, "client_secret") != secret) {
    return facebookError(1, "Error validating client secret.");
  }
  const std::string token = fieldText(fields, "access_token");
  const std::optional<User> user = userOf(token);
  if (!user) return facebookUnauthorized();
  const std::optional<TokenState> state = stateOf(token);
  if (!state || isLongLived(*state)) return facebookError(452, "Session key invalid.");
  return longReply(user->openId);
}

Reply InstagramAccount::renewed(const Call& call) {
  const FormFields& fields = call.request.query;
  if (fieldText(fields, "grant_type") != "ig_refresh_token")
    return facebookBadParameter("Invalid grant_type.");
  const std::string token = fieldText(fields, "access_token");
  const std::optional<User> user = userOf(token);
  if (!user) return facebookUnauthorized();
  const std::optional<TokenState> state = stateOf(token);
  if (!state || !isLongLived(*state)) return facebookError(452, "Session key invalid.");
  return longReply(user->openId);
}

Reply InstagramAccount::longReply(const std::string& openId) {
  Json::Value value;
  value["access_token"] = context_.accounts.issueAccessToken(Platform::instagram, openId, longLife);
  value["token_type"] = "bearer";
  value["expires_in"] = Json::Int64(std::chrono::seconds(longLife).count());
  context_.state.save();
  return json(value);
}

Reply InstagramAccount::profile(const Call& call) const {
  const std::optional<User> user = userOf(call.request.parameter("access_token").value_or(""));
  if (!user) return facebookUnauthorized();
  Json::Value value;
  value["id"] = user->openId;
  std::istringstream wanted(call.request.parameter("fields").value_or("id"));
  for (std::string field; std::getline(wanted, field, ',');) {
    if (field == "user_id" || field == "id") {
      value[field] = user->openId;
    } else if (field == "username") {
      value[field] = accountName(*user);
    } else if (field == "name") {
      value[field] = user->name;
    } else if (field == "account_type") {
      value[field] = "MEDIA_CREATOR";
    } else {
      return facebookBadParameter("Tried accessing nonexisting field (" + field + ")");
    }
  }
  return json(value);
}

}  // namespace sandbox
