#include "sandbox/services/google/GoogleAccount.h"

#include "sandbox/services/google/GoogleError.h"
#include "sandbox/services/google/YoutubeUpload.h"

namespace sandbox {

namespace {

constexpr OauthTraits traits{
    Platform::youtube, Route::googleLogin, "googleLogin", "/google/o/oauth2/v2/auth", true, true};
constexpr const char* tokenPath = "/google/token";
constexpr const char* revokePath = "/google/revoke";
constexpr const char* apiPath = "/youtube/v3";
constexpr std::size_t thumbnailLimit = std::size_t{2} * 1024 * 1024;

}  // namespace

GoogleAccount::GoogleAccount(ServiceContext& context) : OauthService(context, traits) {}

void GoogleAccount::addTo(Router& router) {
  addLoginTo(router);
  router.add({Route::googleToken, "POST", tokenPath, [this](Call& call) { return token(call); }});
  router.add({Route::googleRevoke, "POST", revokePath, [this](Call& call) { return revoke(call); }});
  router.add({Route::youtubeChannels, "GET", std::string(apiPath) + "/channels",
              [this](Call& call) { return channels(call); }});
  router.add({Route::youtubeThumbnail, "POST", std::string(YoutubeUpload::scriptBase) + "/thumbnails/set",
              [this](Call& call) { return setThumbnail(call); }});
}

std::vector<std::pair<std::string, std::string>> GoogleAccount::scriptKeys() const {
  return {loginKey(),
          {"googleToken", tokenPath},
          {"googleRevoke", revokePath},
          {"youtubeApi", apiPath},
          {"youtubeUpload", YoutubeUpload::scriptBase}};
}

Reply GoogleAccount::token(const Call& call) {
  const FormFields fields = bodyFields(call);
  const std::string kind = fieldText(fields, "grant_type");
  if (kind == "authorization_code") return tradeCode(fields);
  if (kind == "refresh_token") return tradeRefreshToken(fields);
  return standardError({"unsupported_grant_type", "Invalid grant_type: " + kind});
}

/// A refresh token comes only with offline access.
Reply GoogleAccount::tradeCode(const FormFields& fields) {
  const Exchange exchange = exchangeCode(fields);
  if (!exchange.grant) {
    return standardError(exchange.refusal, exchange.refusal.error == "invalid_client" ? 401 : 400);
  }
  const Grant& grant = *exchange.grant;
  const IssuedTokens tokens = context_.accounts.issueTokens(Platform::youtube, grant.openId);
  Json::Value value;
  value["access_token"] = tokens.accessToken;
  value["expires_in"] = Json::Int64(tokens.lifetime.count());
  value["scope"] = grant.request.scope;
  value["token_type"] = "Bearer";
  if (grant.request.offline) {
    value["refresh_token"] = tokens.refreshToken;
  } else {
    context_.accounts.revokeToken(tokens.refreshToken);
  }
  context_.state.save();
  return json(value);
}

Reply GoogleAccount::tradeRefreshToken(const FormFields& fields) {
  if (const auto refused = refusedClient(fields)) return standardError(*refused, 401);
  const std::string token = fieldText(fields, "refresh_token");
  const std::optional<IssuedTokens> tokens =
      stateOf(token) ? context_.accounts.renew(token) : std::optional<IssuedTokens>();
  if (!tokens) return standardError({"invalid_grant", "Token has been expired or revoked."});
  Json::Value value;
  value["access_token"] = tokens->accessToken;
  value["expires_in"] = Json::Int64(tokens->lifetime.count());
  value["token_type"] = "Bearer";
  context_.state.save();
  return json(value);
}

/// Either token ends the whole grant.
Reply GoogleAccount::revoke(const Call& call) {
  const std::optional<TokenState> state = stateOf(fieldText(allFields(call), "token"));
  if (!state || state->revoked) return standardError({"invalid_token", "Token expired or revoked"});
  context_.accounts.revokeAt(Platform::youtube, state->openId);
  context_.state.save();
  return json(Json::Value(Json::objectValue));
}

Reply GoogleAccount::channels(const Call& call) const {
  const std::optional<User> user = userOf(call.request.bearer());
  if (!user) return googleUnauthorized();
  if (call.request.parameter("part") != "snippet") {
    return googleError(400, "No part selected", "missingRequiredParameter");
  }
  if (call.request.parameter("mine") != "true") {
    return googleError(400, "No filter selected", "missingRequiredParameter");
  }
  Json::Value item;
  item["kind"] = "youtube#channel";
  item["id"] = "UC" + user->openId;
  item["snippet"]["title"] = user->name;
  Json::Value value;
  value["kind"] = "youtube#channelListResponse";
  value["items"].append(item);
  return json(value);
}

Reply GoogleAccount::setThumbnail(const Call& call) {
  const std::optional<User> user = userOf(call.request.bearer());
  if (!user) return googleUnauthorized();
  const std::string mediaId = call.request.parameter("videoId").value_or("");
  const std::optional<UploadRecord> upload = context_.uploads.byMediaId("youtube", mediaId);
  if (!upload || !upload->complete) {
    return googleError(404, "The video that you are trying to set a thumbnail for cannot be found.",
                       "videoNotFound");
  }
  if (upload->openId != user->openId) return googleError(403, "Forbidden", "forbidden");
  if (call.body.empty()) {
    return googleError(400, "The request does not include the image content.", "mediaBodyRequired");
  }
  const std::string type = call.request.header("Content-Type").value_or("");
  if (type != "image/jpeg" && type != "image/png" && type != "application/octet-stream") {
    return googleError(400, "The provided image content is invalid.", "invalidImage");
  }
  if (call.body.size() > thumbnailLimit) return googleError(413, "The image is too large.", "uploadTooLarge");
  Sha256 hash;
  hash.add(call.body.data(), call.body.size());
  Json::Value thumbnail;
  thumbnail["size"] = Json::UInt64(call.body.size());
  thumbnail["sha256"] = hash.hex();
  context_.uploads.annotate("youtube", mediaId, "thumbnail", thumbnail);
  context_.state.save();
  Json::Value value;
  value["kind"] = "youtube#thumbnailSetResponse";
  value["items"].append(Json::Value(Json::objectValue));
  return json(value);
}

}  // namespace sandbox
