#include "sandbox/services/instagram/InstagramAccount.h"

#include "sandbox/base/MediaAccounts.h"
#include "sandbox/services/GraphFields.h"
#include "sandbox/services/GraphPaths.h"
#include "sandbox/services/facebook/FacebookError.h"

namespace sandbox {

namespace {

constexpr std::chrono::hours shortLife{1};
constexpr std::chrono::hours longLife{60 * 24};

}  // namespace

const OauthTraits InstagramAccount::traits{
    Platform::instagram, Route::instagramLogin, "instagramLogin", GraphPaths::instagramLogin, false, true};

InstagramAccount::InstagramAccount(ServiceContext& context) : OauthService(context, traits) {}

void InstagramAccount::addTo(Router& router) {
  addLoginTo(router);
  const std::string graph = GraphPaths::instagram;
  router.add({Route::instagramToken, "GET", graph + "/oauth/access_token",
              [this](Call& call) { return token(call); }});
  router.add({Route::instagramAccounts, "GET", graph + "/me/accounts",
              [this](Call& call) { return accounts(call); }});
}

std::vector<std::pair<std::string, std::string>> InstagramAccount::scriptKeys() const {
  return {loginKey(), {"instagramGraph", GraphPaths::instagram}};
}

Reply InstagramAccount::token(const Call& call) {
  const FormFields& fields = call.request.query;
  const std::string kind = fieldOf(fields, "grant_type").value_or("authorization_code");
  return kind == "authorization_code" ? shortLived(fields) : longLived(fields);
}

Reply InstagramAccount::shortLived(const FormFields& fields) {
  const Exchange exchange = exchangeCode(fields);
  if (exchange.grant) return tokenReply(exchange.grant->openId, shortLife);
  if (exchange.refusal.error == "invalid_client") {
    return facebookError(1, "Error validating client secret.");
  }
  return facebookError(100, exchange.refusal.description, 36009);
}

Reply InstagramAccount::longLived(const FormFields& fields) {
  if (fieldText(fields, "grant_type") != "fb_exchange_token") {
    return facebookBadParameter("Invalid grant_type.");
  }
  if (refusedClient(fields)) return facebookError(1, "Error validating client secret.");
  const std::optional<User> user = userOf(fieldText(fields, "fb_exchange_token"));
  return user ? tokenReply(user->openId, longLife) : facebookUnauthorized();
}

Reply InstagramAccount::tokenReply(const std::string& openId, std::chrono::seconds lifetime) {
  Json::Value value;
  value["access_token"] = context_.accounts.issueAccessToken(Platform::instagram, openId, lifetime);
  value["token_type"] = "bearer";
  value["expires_in"] = Json::Int64(lifetime.count());
  context_.state.save();
  return json(value);
}

/// The first page has no account behind it.
Reply InstagramAccount::accounts(const Call& call) const {
  const std::optional<User> user = userOf(call.request.parameter("access_token").value_or(""));
  if (!user) return facebookUnauthorized();
  const std::string fields = call.request.parameter("fields").value_or("id,name");
  const std::string strange = strangeGraphField(fields, {"id", "name", "instagram_business_account"});
  if (!strange.empty()) return facebookNoSuchField(strange);
  Json::Value plain;
  plain["id"] = "1" + user->openId;
  Json::Value connected;
  connected["id"] = "2" + user->openId;
  for (const std::string& field : graphFields(fields)) {
    if (field == "name") plain["name"] = connected["name"] = "Page of " + user->name;
    if (field != "instagram_business_account") continue;
    Json::Value& account = connected[field];
    account["id"] = user->openId;
    if (fields.find("{id,username}") != std::string::npos) account["username"] = accountName(*user);
  }
  Json::Value value;
  value["data"].append(plain);
  value["data"].append(connected);
  return json(value);
}

}  // namespace sandbox
