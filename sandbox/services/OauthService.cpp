#include "sandbox/services/OauthService.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Sha256.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/HtmlPage.h"

#include <algorithm>

namespace sandbox {

namespace {

/// base64url of the 32 bytes of a SHA-256.
constexpr std::size_t challengeLength = 43;
constexpr std::size_t shortestVerifier = 43;
constexpr std::size_t longestVerifier = 128;
constexpr std::string_view urlAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

Reply refusedPage(const std::string& reason) {
  return htmlPage(400, "This sign-in cannot start", "<p role=\"alert\">" + htmlEscaped(reason) + "</p>\n");
}

bool isRedirectAddress(const std::string& address) {
  const bool isWeb = address.starts_with("http://") || address.starts_with("https://");
  return isWeb && address.find('#') == std::string::npos;
}

std::vector<std::string> words(const std::string& text) {
  std::vector<std::string> list(1);
  for (const char letter : text) {
    if (letter != ' ' && letter != ',') {
      list.back() += letter;
    } else if (!list.back().empty()) {
      list.emplace_back();
    }
  }
  if (list.back().empty()) list.pop_back();
  return list;
}

std::string challengeOf(const std::string& verifier) {
  Sha256 hash;
  hash.add(verifier.data(), verifier.size());
  return base64Url(hash.bytes());
}

bool fitsChallenge(const LoginRequest& request, const std::string& verifier) {
  if (request.challenge.empty()) return verifier.empty();
  const bool hasShape = verifier.size() >= shortestVerifier && verifier.size() <= longestVerifier;
  return hasShape && challengeOf(verifier) == request.challenge;
}

}  // namespace

std::optional<std::string> fieldOf(const FormFields& fields, const std::string& name) {
  const auto found =
      std::find_if(fields.begin(), fields.end(), [&](const auto& f) { return f.first == name; });
  return found == fields.end() ? std::nullopt : std::optional(found->second);
}

std::string fieldText(const FormFields& fields, const std::string& name) {
  return fieldOf(fields, name).value_or("");
}

void OauthService::addLoginTo(Router& router) {
  router.add({traits_.loginRoute, "GET", traits_.loginPath, [this](Call& call) { return login(call); }});
}

Reply OauthService::login(const Call& call) {
  const FormFields& fields = call.request.query;
  if (const auto refused = refusedApplication(fields)) return *refused;
  LoginRequest request;
  request.platform = traits_.platform;
  request.clientId = fieldText(fields, "client_id");
  request.redirectUri = fieldText(fields, "redirect_uri");
  request.state = fieldText(fields, "state");
  request.scope = fieldText(fields, "scope");
  request.challenge = fieldText(fields, "code_challenge");
  request.offline = fieldText(fields, "access_type") == "offline";
  if (const auto refused = refusedRequest(fields)) {
    return redirectTo(withParameters(
        request.redirectUri,
        {{"error", refused->error}, {"error_description", refused->description}, {"state", request.state}}));
  }
  const LoginSession session = context_.accounts.openRedirectSession(
      traits_.platform, request.redirectUri, words(request.scope), context_.baseUrl + "/consent/");
  context_.grants.expect(session.id, std::move(request));
  return redirectTo(context_.grants.address(session).value_or(session.openUrl));
}

/// An unknown application, or an address that is not its own, must never be redirected to.
std::optional<Reply> OauthService::refusedApplication(const FormFields& fields) const {
  const std::string id = fieldText(fields, "client_id");
  const std::string& knownId = context_.options.appId;
  if (id.empty() || (!knownId.empty() && id != knownId)) return refusedPage("Unknown client_id.");
  const std::string redirect = fieldText(fields, "redirect_uri");
  const std::string& knownRedirect = context_.options.appRedirect;
  if (!isRedirectAddress(redirect) || (!knownRedirect.empty() && redirect != knownRedirect)) {
    return refusedPage("The redirect_uri is none of this application's.");
  }
  return std::nullopt;
}

std::optional<OauthService::Refusal> OauthService::refusedRequest(const FormFields& fields) const {
  const auto invalid = [](const std::string& description) { return Refusal{"invalid_request", description}; };
  if (fieldText(fields, "response_type") != "code") {
    return Refusal{"unsupported_response_type", "response_type must be code"};
  }
  if (fieldText(fields, "state").empty()) return invalid("state is missing");
  if (traits_.needsScope && words(fieldText(fields, "scope")).empty()) {
    return Refusal{"invalid_scope", "scope is missing"};
  }
  const std::optional<std::string> challenge = fieldOf(fields, "code_challenge");
  if (!challenge) {
    return traits_.needsChallenge ? std::optional(invalid("code_challenge is missing")) : std::nullopt;
  }
  if (fieldText(fields, "code_challenge_method") != "S256") {
    return invalid("code_challenge_method must be S256");
  }
  const bool hasShape =
      challenge->size() == challengeLength && challenge->find_first_not_of(urlAlphabet) == std::string::npos;
  return hasShape ? std::nullopt : std::optional(invalid("code_challenge is no SHA-256"));
}

std::optional<OauthService::Refusal> OauthService::refusedClient(const FormFields& fields) const {
  const std::string id = fieldText(fields, "client_id");
  const std::string secret = fieldText(fields, "client_secret");
  const SandboxOptions& known = context_.options;
  const bool good = !id.empty() && (known.appId.empty() || id == known.appId) && !secret.empty() &&
                    (known.appSecret.empty() || secret == known.appSecret);
  if (good) return std::nullopt;
  return Refusal{"invalid_client", "The client_id or client_secret is wrong."};
}

OauthService::Exchange OauthService::exchangeCode(const FormFields& fields) {
  if (const auto refused = refusedClient(fields)) return {std::nullopt, *refused};
  const auto invalid = [](const std::string& description) {
    return Exchange{std::nullopt, {"invalid_grant", description}};
  };
  std::optional<Grant> grant = context_.grants.spend(fieldText(fields, "code"));
  if (!grant || grant->request.platform != traits_.platform) {
    return invalid("The code is unknown, expired or was used before.");
  }
  const LoginRequest& request = grant->request;
  if (request.clientId != fieldText(fields, "client_id")) return invalid("The code is another client's.");
  if (request.redirectUri != fieldText(fields, "redirect_uri")) {
    return invalid("The redirect_uri is not that of the login.");
  }
  if (!fitsChallenge(request, fieldText(fields, "code_verifier"))) {
    return invalid("The code_verifier does not fit.");
  }
  return {std::move(grant), {}};
}

std::optional<TokenState> OauthService::stateOf(const std::string& token) const {
  if (token.empty()) return std::nullopt;
  const std::optional<TokenState> state = context_.token(token);
  return state && state->platform == traits_.platform ? state : std::nullopt;
}

Reply OauthService::json(const Json::Value& value, int status) {
  Reply reply;
  reply.status = status;
  reply.body = compactJson(value);
  return reply;
}

Reply OauthService::standardError(const Refusal& refusal, int status) {
  Json::Value value;
  value["error"] = refusal.error;
  value["error_description"] = refusal.description;
  return json(value, status);
}

FormFields OauthService::bodyFields(const Call& call) {
  const std::string type = call.request.header("Content-Type").value_or("");
  return type.starts_with("application/x-www-form-urlencoded") ? parseForm(call.body) : FormFields();
}

FormFields OauthService::allFields(const Call& call) {
  FormFields fields = call.request.query;
  for (auto& field : bodyFields(call)) fields.push_back(std::move(field));
  return fields;
}

std::string OauthService::authorization(const Call& call, const std::string& scheme) {
  const std::string value = call.request.header("Authorization").value_or("");
  const bool fits = value.size() > scheme.size() + 1 && value[scheme.size()] == ' ' &&
                    equalIgnoringCase(value.substr(0, scheme.size()), scheme);
  return fits ? value.substr(scheme.size() + 1) : std::string();
}

}  // namespace sandbox
