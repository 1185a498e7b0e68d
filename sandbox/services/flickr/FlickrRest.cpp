#include "sandbox/services/flickr/FlickrRest.h"

#include "sandbox/base/Text.h"
#include "sandbox/services/flickr/FlickrError.h"
#include "sandbox/services/flickr/OauthOneCheck.h"
#include "sandbox/services/media/Jpeg.h"
#include "sandbox/services/media/MediaSignatures.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace sandbox {

namespace {

constexpr const char* base = "/flickr";
constexpr const char* oauthPath = "/flickr/services/rest";
constexpr const char* md5Path = "/flickr/services/rest/";
constexpr const char* photoHost = "/flickr/farm%d";
constexpr const char* photoPath = "/flickr/farm";
constexpr const char* method = "flickr.photos.getWithoutGeoData";
constexpr const char* serverNumber = "65535";
constexpr const char* photoSecret = "5ec4e7";
constexpr const char* originalSecret = "0719";
constexpr std::size_t usualPage = 100;
constexpr std::size_t largestPage = 500;

Reply missingSignature() {
  return flickrError(97, "Missing signature");
}
Reply invalidSignature() {
  return flickrError(96, "Invalid signature");
}
Reply usedNonce() {
  return flickrError(96, "Invalid signature (nonce_used)");
}
Reply invalidToken() {
  return flickrError(98, "Invalid auth token");
}
Reply invalidKey() {
  return flickrError(100, "Invalid API Key (Key has invalid format)");
}

bool isTimely(const std::string& timestamp) {
  unsigned long long seconds = 0;
  if (!parseNumber(timestamp, seconds) || seconds > 100'000'000'000U) return false;
  const auto time = std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
  const auto distance = std::chrono::system_clock::now() - time;
  return distance < NonceBook::clockTolerance && distance > -NonceBook::clockTolerance;
}

/// No answer crosses a network within the millisecond of its question, which is what clients make nonces of.
void outlastThisMillisecond() {
  using Clock = std::chrono::system_clock;
  const auto begin = std::chrono::time_point_cast<std::chrono::milliseconds>(Clock::now());
  while (std::chrono::time_point_cast<std::chrono::milliseconds>(Clock::now()) == begin) {
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
}

}  // namespace

void FlickrRest::addTo(Router& router) {
  router.add({Route::flickrPhotos, "GET", oauthPath, [this](Call& call) { return oauthRequest(call); }});
  router.add({Route::flickrPhotos, "GET", md5Path, [this](Call& call) { return md5Request(call); }});
  router.add({Route::mediaPicture, "GET", photoPath, [](Call& call) { return thumbnail(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
}

std::vector<std::pair<std::string, std::string>> FlickrRest::urlKeys() const {
  return {{"urlMediaFlickrRest", base}, {"urlMediaFlickrPhoto", photoHost}};
}

Reply FlickrRest::md5Request(const Call& call) const {
  const auto text = [&](const char* name) { return call.request.parameter(name).value_or(""); };
  if (text("api_key") != flickrApplicationKey) return invalidKey();
  if (text("api_sig").empty()) return missingSignature();
  if (text("api_sig") != flickrMd5Signature(flickrApplicationSecret, call.request.query)) {
    return invalidSignature();
  }
  const auto user = userWith(&MediaAccount::flickrToken, text("auth_token"), Platform::flickr);
  return user ? photos(call, *user) : invalidToken();
}

Reply FlickrRest::oauthRequest(const Call& call) const {
  const auto text = [&](const char* name) { return call.request.parameter(name).value_or(""); };
  const std::optional<std::string> application = applicationSecret(text("oauth_consumer_key"));
  if (!application || text("api_key") != text("oauth_consumer_key")) return invalidKey();
  if (text("oauth_signature").empty()) return missingSignature();
  const bool isWellFormed = text("oauth_signature_method") == "HMAC-SHA1" && text("oauth_version") == "1.0" &&
                            !text("oauth_nonce").empty() && isTimely(text("oauth_timestamp"));
  if (!isWellFormed) return invalidSignature();
  const std::optional<TokenOwner> owner = ownerOf(text("oauth_token"));
  if (!owner) return invalidToken();
  const std::string signature =
      oauthSignature(context_.baseUrl + oauthPath, call.request.query, *application, owner->secret);
  if (signature != text("oauth_signature")) return invalidSignature();
  const bool isFresh = nonces_->take(text("oauth_consumer_key"), text("oauth_token"), text("oauth_timestamp"),
                                     text("oauth_nonce"));
  outlastThisMillisecond();
  return isFresh ? photos(call, owner->user) : usedNonce();
}

/// Of the application that lists alone, or of the one that people sign in to; nothing for another key.
std::optional<std::string> FlickrRest::applicationSecret(const std::string& key) const {
  if (key == flickrApplicationKey) return flickrApplicationSecret;
  if (key != context_.options.appId) return std::nullopt;
  return context_.options.appSecret;
}

std::optional<FlickrRest::TokenOwner> FlickrRest::ownerOf(const std::string& token) const {
  const std::optional<User> signedIn = context_.userOf(token, Platform::flickr);
  const std::vector<User> users = context_.accounts.users();
  for (std::size_t user = 0; user < users.size(); ++user) {
    const std::string pair = mediaAccount(users[user]).flickrPair;
    const std::size_t bar = pair.find('|');
    const bool isGood = context_.accounts.isMediaTokenGood(Platform::flickr, users[user].openId);
    if (isGood && pair.substr(0, bar) == token) return TokenOwner{user, pair.substr(bar + 1)};
    if (signedIn && signedIn->openId == users[user].openId) {
      return TokenOwner{user, OauthOneCheck::secretOf(token)};
    }
  }
  return std::nullopt;
}

Reply FlickrRest::photos(const Call& call, std::size_t user) const {
  if (call.request.parameter("method") != method) {
    return flickrError(112, "Method \"" + call.request.parameter("method").value_or("") + "\" not found");
  }
  if (call.request.parameter("format") != "json") return flickrError(111, "Format not found");
  const std::size_t perPage = std::min(countParameter(call, "per_page", usualPage), largestPage);
  const std::size_t page = countParameter(call, "page", 1);
  const std::size_t total = library_.flickrCount(user);
  const std::string extras = "," + call.request.parameter("extras").value_or("") + ",";
  const auto asksFor = [&](const char* extra) {
    return extras.find(std::string(",") + extra + ",") != std::string::npos;
  };
  Json::Value value;
  value["photos"]["page"] = Json::UInt64(page);
  value["photos"]["pages"] = Json::UInt64((total + perPage - 1) / perPage);
  value["photos"]["perpage"] = Json::UInt64(perPage);
  value["photos"]["total"] = Json::UInt64(total);
  value["photos"]["photo"] = Json::Value(Json::arrayValue);
  const std::size_t begin = std::min((page - 1) * perPage, total);
  for (std::size_t place = begin; place < std::min(begin + perPage, total); ++place) {
    value["photos"]["photo"].append(photo(user, place, asksFor("original_format"), asksFor("url_o")));
  }
  value["stat"] = "ok";
  Reply reply = json(value);
  if (call.request.parameter("nojsoncallback") != "1") reply.body = "jsonFlickrApi(" + reply.body + ")";
  return reply;
}

/// Every tenth photo keeps its original to itself.
Json::Value FlickrRest::photo(std::size_t user, std::size_t place, bool withFormat, bool withUrl) const {
  const MediaLibrary::Picture picture = MediaLibrary::loosePicture(user, place);
  Json::Value value;
  value["id"] = picture.id;
  value["secret"] = photoSecret;
  value["server"] = serverNumber;
  value["farm"] = static_cast<int>(place % 3) + 5;
  value["title"] = "Photo " + std::to_string(place + 1);
  const bool isShown = place % 10 != 9;
  if (withFormat && isShown) {
    value["originalsecret"] = originalSecret;
    value["originalformat"] = "jpg";
  }
  if (withUrl && isShown) {
    value["url_o"] = pictureUrl(picture.id, picture.width, picture.height);
    value["width_o"] = picture.width;
    value["height_o"] = picture.height;
  }
  return value;
}

/// "FARM/SERVER/ID_SECRET_t.jpg"
Reply FlickrRest::thumbnail(const Call& call) {
  const std::string server = std::string("/") + serverNumber + "/";
  const std::string ending = std::string("_") + photoSecret + "_t.jpg";
  const std::size_t slash = call.rest.find(server);
  unsigned long long farm = 0;
  unsigned long long id = 0;
  const bool hasShape = slash != std::string::npos && call.rest.ends_with(ending) &&
                        call.rest.size() > slash + server.size() + ending.size();
  if (!hasShape || !parseNumber(call.rest.substr(0, slash), farm)) return {404, "", "text/plain", {}};
  const std::size_t begin = slash + server.size();
  const std::string number = call.rest.substr(begin, call.rest.size() - ending.size() - begin);
  if (!parseNumber(number, id)) return {404, "", "text/plain", {}};
  return {200, makeJpeg(100, 75, id), "image/jpeg", {}};
}

}  // namespace sandbox
