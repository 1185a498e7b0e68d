#include "sandbox/services/google/GoogleProfile.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/Avatar.h"
#include "sandbox/services/google/GoogleError.h"

#include <array>

namespace sandbox {

namespace {

constexpr const char* userInfoPath = "/google/oauth2/v2/userinfo";
constexpr const char* categoriesPath = "/youtube/v3/videoCategories";

struct Category {
  const char* id;
  const char* title;
  bool assignable;
};

constexpr std::array<Category, 12> allCategories{{
    {"1", "Film & Animation", true},
    {"2", "Autos & Vehicles", true},
    {"10", "Music", true},
    {"15", "Pets & Animals", true},
    {"17", "Sports", true},
    {"18", "Short Movies", false},
    {"20", "Gaming", true},
    {"22", "People & Blogs", true},
    {"24", "Entertainment", true},
    {"27", "Education", true},
    {"28", "Science & Technology", true},
    {"30", "Movies", false},
}};

}  // namespace

void GoogleProfile::addTo(Router& router) {
  router.add({Route::googleUserInfo, "GET", userInfoPath, [this](Call& call) { return userInfo(call); }});
  router.add(
      {Route::youtubeCategories, "GET", categoriesPath, [this](Call& call) { return categories(call); }});
}

std::vector<std::pair<std::string, std::string>> GoogleProfile::urlKeys() const {
  return {{"urlCloudDiskAuthGoogleDiskUserInfo", userInfoPath},
          {"urlYoutubeVideoCategories", categoriesPath}};
}

Reply GoogleProfile::userInfo(const Call& call) {
  if (call.request.parameter("alt") != "json")
    return googleError(400, "Invalid value for alt", "invalidParameter");
  const std::string token = call.request.parameter("access_token").value_or(call.request.bearer());
  const std::optional<User> user = context_.userOf(token, Platform::youtube);
  if (!user) return googleUnauthorized();
  Json::Value root;
  root["id"] = user->openId;
  root["email"] = user->email;
  root["verified_email"] = true;
  root["name"] = user->name;
  root["given_name"] = user->givenName;
  root["family_name"] = user->familyName;
  root["picture"] = Avatar::url(context_, *user);
  root["locale"] = user->locale;
  Reply reply;
  reply.body = compactJson(root);
  return reply;
}

Reply GoogleProfile::categories(const Call& call) {
  if (!context_.userOf(call.request.bearer(), Platform::youtube)) return googleUnauthorized();
  if (call.request.parameter("part") != "snippet")
    return googleError(400, "No part selected", "missingRequiredParameter");
  const std::string region = call.request.parameter("regionCode").value_or("");
  if (!equalIgnoringCase(region, "us")) return googleError(400, "Invalid region code", "invalidRegionCode");
  Json::Value root;
  root["kind"] = "youtube#videoCategoryListResponse";
  root["items"] = Json::Value(Json::arrayValue);
  for (const Category& category : allCategories) {
    Json::Value item;
    item["kind"] = "youtube#videoCategory";
    item["id"] = category.id;
    item["snippet"]["title"] = category.title;
    item["snippet"]["assignable"] = category.assignable;
    root["items"].append(item);
  }
  Reply reply;
  reply.body = compactJson(root);
  return reply;
}

}  // namespace sandbox
