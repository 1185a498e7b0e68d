#include "sandbox/services/twitch/TwitchAccount.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/MediaAccounts.h"

#include <sstream>

namespace sandbox {

namespace {

constexpr const char* tokenPath = "/twitch/oauth2/token";
constexpr const char* revokePath = "/twitch/oauth2/revoke";
constexpr const char* helix = "/twitch/helix";

const char* reasonOf(int status) {
  switch (status) {
    case 400:
      return "Bad Request";
    case 401:
      return "Unauthorized";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 410:
      return "Gone";
    case 413:
      return "Payload Too Large";
    default:
      return "Error";
  }
}

}  // namespace

const OauthTraits TwitchAccount::traits{
    Platform::twitch, Route::twitchLogin, "twitchLogin", "/twitch/oauth2/authorize", false, true};

TwitchAccount::TwitchAccount(ServiceContext& context) : OauthService(context, traits) {}

void TwitchAccount::addTo(Router& router) {
  addLoginTo(router);
  router.add({Route::twitchToken, "POST", tokenPath, [this](Call& call) { return token(call); }});
  router.add({Route::twitchRevoke, "POST", revokePath, [this](Call& call) { return revoke(call); }});
  router.add(
      {Route::twitchUsers, "GET", std::string(helix) + "/users", [this](Call& call) { return users(call); }});
}

std::vector<std::pair<std::string, std::string>> TwitchAccount::scriptKeys() const {
  return {loginKey(), {"twitchToken", tokenPath}, {"twitchRevoke", revokePath}, {"twitchHelix", helix}};
}

Reply TwitchAccount::token(const Call& call) {
  const FormFields fields = allFields(call);
  const std::string kind = fieldText(fields, "grant_type");
  if (kind == "authorization_code") {
    const Exchange exchange = exchangeCode(fields);
    if (exchange.grant) {
      return tokenReply(context_.accounts.issueTokens(Platform::twitch, exchange.grant->openId),
                        exchange.grant->request.scope);
    }
    const bool wrongClient = exchange.refusal.error == "invalid_client";
    return twitchError(wrongClient ? 403 : 400,
                       wrongClient ? "invalid client secret" : "Invalid authorization code");
  }
  if (kind != "refresh_token") return twitchError(400, "invalid grant type");
  if (refusedClient(fields)) return twitchError(403, "invalid client secret");
  const std::string token = fieldText(fields, "refresh_token");
  const std::optional<IssuedTokens> tokens =
      stateOf(token) ? context_.spend(token) : std::optional<IssuedTokens>();
  return tokens ? tokenReply(*tokens, "") : twitchError(400, "Invalid refresh token");
}

Reply TwitchAccount::tokenReply(const IssuedTokens& tokens, const std::string& scope) {
  Json::Value value;
  value["access_token"] = tokens.accessToken;
  value["refresh_token"] = tokens.refreshToken;
  value["expires_in"] = Json::Int64(tokens.lifetime.count());
  value["token_type"] = "bearer";
  value["scope"] = Json::Value(Json::arrayValue);
  std::istringstream words(scope);
  for (std::string word; words >> word;) value["scope"].append(word);
  context_.state.save();
  return json(value);
}

Reply TwitchAccount::revoke(const Call& call) {
  const FormFields fields = allFields(call);
  const std::string& known = context_.options.appId;
  if (!known.empty() && fieldText(fields, "client_id") != known) {
    return twitchError(400, "client does not exist");
  }
  const std::string token = fieldText(fields, "token");
  const std::optional<TokenState> state = stateOf(token);
  if (!state || state->revoked) return twitchError(400, "Invalid token");
  context_.accounts.revokeToken(token);
  context_.state.save();
  return {200, "", "application/json", {}};
}

Reply TwitchAccount::users(const Call& call) const {
  const std::optional<User> user = userOf(call.request.bearer());
  if (!user) return twitchError(401, "Invalid OAuth token");
  if (!isTwitchClient(context_, call)) return twitchError(401, "Client ID and OAuth token do not match");
  Json::Value item;
  item["id"] = user->openId;
  item["login"] = accountName(*user);
  item["display_name"] = user->name;
  item["broadcaster_type"] = "affiliate";
  Json::Value value;
  value["data"].append(item);
  return json(value);
}

Reply twitchError(int status, const std::string& message) {
  Json::Value value;
  value["error"] = reasonOf(status);
  value["status"] = status;
  value["message"] = message;
  Reply reply;
  reply.status = status;
  reply.body = compactJson(value);
  return reply;
}

bool isTwitchClient(const ServiceContext& context, const Call& call) {
  const std::string id = call.request.header("Client-Id").value_or("");
  return !id.empty() && (context.options.appId.empty() || id == context.options.appId);
}

}  // namespace sandbox
