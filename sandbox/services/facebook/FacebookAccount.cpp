#include "sandbox/services/facebook/FacebookAccount.h"

#include "sandbox/base/Text.h"
#include "sandbox/services/GraphFields.h"
#include "sandbox/services/GraphPaths.h"
#include "sandbox/services/facebook/FacebookError.h"

namespace sandbox {

namespace {

constexpr std::chrono::hours shortLife{1};
constexpr std::chrono::hours longLife{60 * 24};

}  // namespace

const OauthTraits FacebookAccount::traits{
    Platform::facebook, Route::facebookLogin, "facebookLogin", GraphPaths::facebookLogin, false, false};

FacebookAccount::FacebookAccount(ServiceContext& context) : OauthService(context, traits) {}

void FacebookAccount::addTo(Router& router) {
  addLoginTo(router);
  const std::string graph = GraphPaths::facebook;
  router.add({Route::facebookToken, "GET", graph + "/oauth/access_token",
              [this](Call& call) { return token(call); }});
  router.add({Route::facebookProfile, "GET", graph + "/me", [this](Call& call) { return profile(call); }});
  router.add({Route::facebookFeed, "POST", graph + "/me/feed", [this](Call& call) { return post(call); }});
  router.add({Route::facebookPermissions, "DELETE", graph + "/me/permissions",
              [this](Call& call) { return removePermissions(call); }});
}

std::vector<std::pair<std::string, std::string>> FacebookAccount::scriptKeys() const {
  return {loginKey(), {"facebookGraph", GraphPaths::facebook}};
}

Reply FacebookAccount::token(const Call& call) {
  const FormFields& fields = call.request.query;
  const std::string kind = fieldOf(fields, "grant_type").value_or("authorization_code");
  return kind == "authorization_code" ? shortLived(fields) : longLived(fields);
}

Reply FacebookAccount::shortLived(const FormFields& fields) {
  const Exchange exchange = exchangeCode(fields);
  if (exchange.grant) return tokenReply(exchange.grant->openId, shortLife);
  if (exchange.refusal.error == "invalid_client") {
    return facebookError(1, "Error validating client secret.");
  }
  return facebookError(100, exchange.refusal.description, 36009);
}

Reply FacebookAccount::longLived(const FormFields& fields) {
  if (fieldText(fields, "grant_type") != "fb_exchange_token") {
    return facebookBadParameter("Invalid grant_type.");
  }
  if (refusedClient(fields)) return facebookError(1, "Error validating client secret.");
  const std::optional<User> user = userOf(fieldText(fields, "fb_exchange_token"));
  return user ? tokenReply(user->openId, longLife) : facebookUnauthorized();
}

Reply FacebookAccount::tokenReply(const std::string& openId, std::chrono::seconds lifetime) {
  Json::Value value;
  value["access_token"] = context_.accounts.issueAccessToken(Platform::facebook, openId, lifetime);
  value["token_type"] = "bearer";
  value["expires_in"] = Json::Int64(lifetime.count());
  context_.state.save();
  return json(value);
}

Reply FacebookAccount::profile(const Call& call) const {
  const std::optional<User> user = userOf(facebookToken(call, call.request.query));
  if (!user) return facebookUnauthorized();
  const std::string fields = call.request.parameter("fields").value_or("id,name");
  const std::string strange = strangeGraphField(fields, {"id", "name", "email"});
  if (!strange.empty()) return facebookNoSuchField(strange);
  Json::Value value;
  value["id"] = user->openId;  // with any fields
  for (const std::string& field : graphFields(fields)) {
    if (field == "name") value["name"] = user->name;
    if (field == "email") value["email"] = user->email;
  }
  return json(value);
}

Reply FacebookAccount::post(const Call& call) const {
  const FormFields fields = allFields(call);
  const std::optional<User> user = userOf(facebookToken(call, fields));
  if (!user) return facebookUnauthorized();
  const std::string link = fieldText(fields, "link");
  if (link.empty() && fieldText(fields, "message").empty()) {
    return facebookBadParameter("Missing message or attachment");
  }
  const bool isWeb = link.starts_with("http://") || link.starts_with("https://");
  if (!link.empty() && !isWeb) return facebookBadParameter("The url you supplied is invalid");
  Json::Value value;
  value["id"] = user->openId + "_" + randomDigits(15);
  return json(value);
}

Reply FacebookAccount::removePermissions(const Call& call) {
  const std::optional<User> user = userOf(facebookToken(call, allFields(call)));
  if (!user) return facebookUnauthorized();
  context_.accounts.revokeAt(Platform::facebook, user->openId);
  context_.state.save();
  Json::Value value;
  value["success"] = true;
  return json(value);
}

std::string facebookToken(const Call& call, const FormFields& fields) {
  return fieldOf(fields, "access_token").value_or(call.request.bearer());
}

}  // namespace sandbox
