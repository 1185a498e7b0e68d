#include "sandbox/services/account/AccountServer.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"

namespace sandbox {

namespace {

constexpr const char* credentialsPath = "/account/client_credentials";
constexpr const char* sessionPath = "/account/session";
constexpr const char* codePath = "/account/code";
constexpr const char* tokenPath = "/account/token";
constexpr const char* consumePath = "/account/consume";

Reply envelope(int code, const std::string& message,
               const Json::Value& data = Json::Value(Json::objectValue)) {
  Json::Value root;
  root["code"] = code;
  root["msg"] = message;
  root["data"] = data;
  Reply reply;
  reply.body = compactJson(root);
  return reply;
}

Reply success(const Json::Value& data) {
  return envelope(0, "success", data);
}

Reply badParameter(const std::string& name) {
  return envelope(AccountServer::codeBadParameter, "parameter missing or invalid: " + name);
}

Reply badBody() {
  return envelope(AccountServer::codeBadBody, "request body is not a JSON object");
}

std::optional<Json::Value> objectOf(const std::string& body) {
  std::optional<Json::Value> value = parseJson(body);
  return value && value->isObject() ? value : std::nullopt;
}

bool isWebAddress(const std::string& url) {
  return url.starts_with("http://") || url.starts_with("https://");
}

/// The scopes of a session body; nothing when the member is there and is not an array of texts.
std::optional<std::vector<std::string>> scopesOf(const Json::Value& body) {
  std::vector<std::string> scopes;
  if (!body.isMember("scope")) return scopes;
  const Json::Value& list = body["scope"];
  if (!list.isArray() || list.empty()) return std::nullopt;
  for (const Json::Value& scope : list) {
    if (!scope.isString() || scope.asString().empty()) return std::nullopt;
    scopes.push_back(scope.asString());
  }
  return scopes;
}

int statusOf(Decision decision) {
  switch (decision) {
    case Decision::allowed:
      return 1;
    case Decision::denied:
      return 2;
    default:
      return 0;
  }
}

}  // namespace

void AccountServer::addTo(Router& router) {
  router.add({Route::clientCredentials, "POST", credentialsPath,
              [this](Call& call) { return clientCredentials(call); }});
  router.add({Route::session, "POST", sessionPath, [this](Call& call) { return openSession(call); }});
  router.add({Route::code, "GET", std::string(codePath) + "/", [this](Call& call) { return code(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
  router.add({Route::token, "POST", tokenPath, [this](Call& call) { return token(call); }});
  router.add({Route::consume, "POST", consumePath, [this](Call& call) { return consume(call); }});
}

std::vector<std::pair<std::string, std::string>> AccountServer::urlKeys() const {
  return {{"urlLFServerClientCredentials", credentialsPath},
          {"urlLFServerUserSupportSession", sessionPath},
          {"urlLFServerUserSupportCode", codePath},
          {"urlLFServerUserSupportToken", tokenPath},
          {"urlUserSupportQueryConsume", consumePath}};
}

Reply AccountServer::clientCredentials(const Call& call) {
  const std::optional<Json::Value> body = objectOf(call.body);
  if (!body) return badBody();
  if (textMember(*body, "grant_type") != "client_credentials") return badParameter("grant_type");
  const std::optional<std::string> secret = textMember(*body, "app_secret");
  if (!secret || secret->empty()) return badParameter("app_secret");
  const std::string& expected = context_.options.appSecret;
  if (!expected.empty() && *secret != expected) return envelope(codeBadSecret, "invalid app_secret");

  Json::Value data;
  data["access_token"] = context_.accounts.issueAccountToken();
  data["expires_in"] = Json::Int64(context_.options.accountTokenLifetime.count());
  context_.state.save();
  return success(data);
}

Reply AccountServer::openSession(const Call& call) {
  if (const auto refused = refusal(call)) return *refused;
  const std::optional<Json::Value> body = objectOf(call.body);
  if (!body) return badBody();
  const std::optional<long long> number = integerMember(*body, "platform");
  const auto platform = context_.options.platformNumbers.find(static_cast<int>(number.value_or(-1)));
  if (!number || platform == context_.options.platformNumbers.end()) return badParameter("platform");
  if (!integerMember(*body, "use_client")) return badParameter("use_client");
  if (integerMember(*body, "is_callback_token") != 1) return badParameter("is_callback_token");
  const std::optional<std::string> url = textMember(*body, "url");
  if (body->isMember("url") && (!url || !isWebAddress(*url))) return badParameter("url");
  const std::optional<std::vector<std::string>> scopes = scopesOf(*body);
  if (!scopes) return badParameter("scope");

  const LoginSession session = context_.accounts.openSession(platform->second, url.value_or(""), *scopes,
                                                             context_.baseUrl + "/consent/");
  Json::Value data;
  data["open_url"] = session.openUrl;
  data["session_id"] = session.id;
  return success(data);
}

Reply AccountServer::code(const Call& call) {
  if (const auto refused = refusal(call)) return *refused;
  const std::optional<AccountBook::Poll> poll = context_.accounts.poll(call.rest);
  if (!poll) return envelope(codeNoSession, "unknown login session");
  Json::Value data;
  data["status"] = statusOf(poll->session.decision);
  if (poll->session.decision != Decision::allowed) return success(data);

  const std::string code = "sbx-code-" + poll->session.id;
  data["code"] = code;
  data["callback_url"] = callbackUrl(poll->session, code);
  data["access_token"] = poll->tokens.accessToken;
  data["refresh_token"] = poll->tokens.refreshToken;
  data["open_id"] = poll->session.openId;
  data["expires_in"] = Json::Int64(poll->tokens.lifetime.count());
  context_.state.save();
  return success(data);
}

Reply AccountServer::token(const Call& call) {
  if (const auto refused = refusal(call)) return *refused;
  const std::optional<Json::Value> body = objectOf(call.body);
  if (!body) return badBody();
  const std::optional<std::string> refreshToken = textMember(*body, "refresh_token");
  if (!refreshToken || refreshToken->empty()) return badParameter("refresh_token");
  const std::optional<IssuedTokens> tokens = context_.spend(*refreshToken);
  if (!tokens) return envelope(codeBadRefreshToken, "invalid refresh_token");

  Json::Value data;
  data["access_token"] = tokens->accessToken;
  data["refresh_token"] = tokens->refreshToken;
  data["expires_in"] = Json::Int64(tokens->lifetime.count());
  return success(data);
}

Reply AccountServer::consume(const Call& call) {
  if (const auto refused = refusal(call)) return *refused;
  const std::optional<Json::Value> body = objectOf(call.body);
  if (!body) return badBody();
  if (!integerMember(*body, "use_client")) return badParameter("use_client");
  if (!integerMember(*body, "action_type")) return badParameter("action_type");
  return success(Json::Value(Json::objectValue));
}

std::optional<Reply> AccountServer::refusal(const Call& call) const {
  if (context_.isGoodAccountToken(call.request.bearer())) return std::nullopt;
  return envelope(codeBadToken, "invalid access_token");
}

std::string AccountServer::callbackUrl(const LoginSession& session, const std::string& code) const {
  const std::string address = session.url.empty() ? context_.baseUrl + "/account/callback" : session.url;
  const char mark = address.find('?') == std::string::npos ? '?' : '&';
  return address + mark + "code=" + percentEncoded(code) + "&session_id=" + percentEncoded(session.id);
}

}  // namespace sandbox
