#include "sandbox/services/instagram/InstagramApi.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/media/MediaSignatures.h"

#include <algorithm>

namespace sandbox {

namespace {

constexpr const char* base = "/instagram";
constexpr const char* recentMediaPath = "/instagram/v1/users/self/media/recent/";
constexpr const char* signedEndpoint = "/users/self/media/recent";
constexpr std::size_t usualPage = 20;
constexpr std::size_t largestPage = 33;

Reply failure(int code, const std::string& type, const std::string& message) {
  Json::Value value;
  value["meta"]["error_type"] = type;
  value["meta"]["code"] = code;
  value["meta"]["error_message"] = message;
  value["meta"]["message"] = message;
  Reply reply;
  reply.status = code;
  reply.body = compactJson(value);
  return reply;
}

/// The page behind the element with this number: "17_" and the number.
std::string nextId(std::size_t place) {
  return "17_" + std::to_string(place);
}

}  // namespace

void InstagramApi::addTo(Router& router) {
  router.add(
      {Route::instagramMedia, "GET", recentMediaPath, [this](Call& call) { return recentMedia(call); }});
}

std::vector<std::pair<std::string, std::string>> InstagramApi::urlKeys() const {
  return {{"urlMediaInstagramApi", base}};
}

Reply InstagramApi::recentMedia(const Call& call) const {
  const std::optional<std::string> signature = call.request.parameter("sig");
  if (!signature) {
    return failure(403, "OAuthForbiddenException",
                   "Invalid signed-request: Missing required parameter 'sig'");
  }
  if (*signature != instagramSignature(signedEndpoint, call.request.query, instagramApplicationSecret)) {
    return failure(403, "OAuthForbiddenException", "Invalid signed-request: Signature does not match");
  }
  const auto user = userWith(&MediaAccount::instagramToken,
                             call.request.parameter("access_token").value_or(""), Platform::instagram);
  if (!user) {
    return failure(400, "OAuthAccessTokenException", "The access_token provided is invalid.");
  }
  unsigned long long begin = 0;
  const std::optional<std::string> maxId = call.request.parameter("max_id");
  if (maxId && (!maxId->starts_with("17_") || !parseNumber(maxId->substr(3), begin))) {
    return failure(400, "APIInvalidParametersError", "invalid media id");
  }
  const std::size_t total = library_.instagramCount(*user);
  const std::size_t count = std::min(countParameter(call, "count", usualPage), largestPage);
  const std::size_t end = std::min(static_cast<std::size_t>(begin) + count, total);
  Json::Value value;
  value["meta"]["code"] = 200;
  value["data"] = Json::Value(Json::arrayValue);
  for (std::size_t place = begin; place < end; ++place) value["data"].append(element(*user, place));
  if (end < total) value["pagination"]["next_max_id"] = nextId(end);
  return json(value);
}

/// Every fifth element is a video.
Json::Value InstagramApi::element(std::size_t user, std::size_t place) const {
  const MediaLibrary::Picture picture = MediaLibrary::loosePicture(user, place);
  const auto size = [&](unsigned side) {
    Json::Value value;
    value["url"] = pictureUrl(picture.id, side, side);
    value["width"] = side;
    value["height"] = side;
    return value;
  };
  Json::Value value;
  value["id"] = picture.id + "_17";
  value["images"]["thumbnail"] = size(150);
  value["images"]["low_resolution"] = size(320);
  value["images"]["standard_resolution"] = size(640);
  value["type"] = "image";
  if (place % 5 == 4) {
    value["type"] = "video";
    value["videos"]["standard_resolution"]["url"] =
        context_.baseUrl + MediaLibrary::videoPath(MediaLibrary::videoId(user, place));
  }
  return value;
}

}  // namespace sandbox
