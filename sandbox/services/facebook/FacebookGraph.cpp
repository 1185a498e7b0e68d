#include "sandbox/services/facebook/FacebookGraph.h"

#include "sandbox/base/Text.h"
#include "sandbox/services/GraphFields.h"

#include <algorithm>
#include <array>

namespace sandbox {

namespace {

constexpr const char* base = "/facebook";
constexpr const char* versionPath = "/facebook/v2.2/";
constexpr std::size_t usualPage = 25;
constexpr std::size_t largestPage = 100;

constexpr int invalidToken = 190;
constexpr int unsupportedRequest = 100;

/// A cursor as the service has them: its '=' is a trap for who decodes or encodes addresses.
std::string cursorText(std::size_t place) {
  return "at:" + std::to_string(place) + "==";
}

std::optional<std::size_t> placeOf(const std::string& cursor) {
  unsigned long long place = 0;
  const bool hasShape = cursor.starts_with("at:") && cursor.ends_with("==");
  if (!hasShape || !parseNumber(cursor.substr(3, cursor.size() - 5), place)) return std::nullopt;
  return static_cast<std::size_t>(place);
}

}  // namespace

void FacebookGraph::addTo(Router& router) {
  const std::string version = versionPath;
  const auto serve = [this](auto member) {
    return [this, member](Call& call) {
      return answer(call, [&](std::size_t user) { return (this->*member)(call, user); });
    };
  };
  router.add({Route::facebookAlbums, "GET", version + "me/albums", serve(&FacebookGraph::albums)});
  router.add({Route::facebookPosts, "GET", version + "/me/posts", serve(&FacebookGraph::posts)});
  router.add({Route::facebookPosts, "GET", version + "me/posts", serve(&FacebookGraph::posts)});
  router.add({Route::facebookObject, "GET", version, serve(&FacebookGraph::object), Endpoint::Body::whole,
              Endpoint::Path::withRest});
}

std::vector<std::pair<std::string, std::string>> FacebookGraph::urlKeys() const {
  return {{"urlMediaFacebookGraph", base}};
}

Reply FacebookGraph::answer(const Call& call, const std::function<Reply(std::size_t)>& serve) const {
  const std::string token = call.request.parameter("access_token").value_or("");
  const auto user = userWith(&MediaAccount::facebookToken, token, Platform::facebook);
  return user ? serve(*user) : failure(call, invalidToken, "OAuthException", "Invalid OAuth access token.");
}

Reply FacebookGraph::failure(const Call& call, int code, const std::string& type,
                             const std::string& message) {
  Json::Value value;
  value["error"]["message"] = message;
  value["error"]["type"] = type;
  value["error"]["code"] = code;
  const bool isSuppressed = call.request.parameter("suppress_http_code") == "1";
  return json(value, isSuppressed ? 200 : 400);
}

std::optional<FacebookGraph::Page> FacebookGraph::pageOf(const Call& call, std::size_t total) {
  Page page;
  page.total = total;
  if (const auto cursor = call.request.parameter("after")) {
    const std::optional<std::size_t> place = placeOf(*cursor);
    if (!place) return std::nullopt;
    page.begin = std::min(*place, total);
  }
  const std::size_t limit = std::min(countParameter(call, "limit", usualPage), largestPage);
  page.end = std::min(page.begin + limit, total);
  return page;
}

/// The entry's fields that the request names, and its id; all of them without "fields", as before
/// version 2.4.
Json::Value FacebookGraph::filtered(const Call& call, const Json::Value& entry) {
  const std::optional<std::string> wanted = call.request.parameter("fields");
  if (!wanted) return entry;
  Json::Value value;
  value["id"] = entry["id"];
  for (const std::string& name : graphFields(*wanted)) {
    if (entry.isMember(name)) value[name] = entry[name];
  }
  return value;
}

/// The first of the request's "fields" that the kind of entry does not have; empty when it has them all.
std::string FacebookGraph::strangeField(const Call& call, std::initializer_list<std::string_view> known) {
  return strangeGraphField(call.request.parameter("fields").value_or("id"), known);
}

Reply FacebookGraph::noSuchField(const Call& call, const std::string& name) {
  return failure(call, unsupportedRequest, "OAuthException",
                 "(#100) Tried accessing nonexisting field (" + name + ")");
}

Reply FacebookGraph::listing(const Call& call, const Page& page, const Json::Value& entries) const {
  Json::Value data(Json::arrayValue);
  for (const Json::Value& entry : entries) data.append(filtered(call, entry));
  Json::Value value;
  value["data"] = std::move(data);
  if (page.end > page.begin) value["paging"]["cursors"]["after"] = cursorText(page.end);
  if (page.end < page.total) {
    std::string next = context_.baseUrl + call.request.path + "?";
    for (const auto& [name, text] : call.request.query) {
      if (name != "after") next += percentEncoded(name) + "=" + percentEncoded(text) + "&";
    }
    value["paging"]["next"] = next + "after=" + percentEncoded(cursorText(page.end));
  }
  return json(value);
}

Reply FacebookGraph::albums(const Call& call, std::size_t user) const {
  if (const auto name = strangeField(call, {"id", "name", "count", "type"}); !name.empty())
    return noSuchField(call, name);
  const std::optional<Page> page = pageOf(call, library_.albumCount(user));
  if (!page) return failure(call, unsupportedRequest, "OAuthException", "Invalid cursor.");
  Json::Value data(Json::arrayValue);
  for (std::size_t album = page->begin; album < page->end; ++album) {
    Json::Value value;
    value["id"] = MediaLibrary::albumId(user, album);
    value["name"] = MediaLibrary::albumName(album);
    value["count"] = Json::UInt64(library_.photoCount(user, album));
    value["type"] = "normal";
    data.append(value);
  }
  return listing(call, *page, data);
}

Reply FacebookGraph::posts(const Call& call, std::size_t user) const {
  const auto name = strangeField(call, {"id", "type", "status_type", "source", "picture", "object_id"});
  if (!name.empty()) return noSuchField(call, name);
  const std::optional<Page> page = pageOf(call, library_.postCount(user));
  if (!page) return failure(call, unsupportedRequest, "OAuthException", "Invalid cursor.");
  Json::Value data(Json::arrayValue);
  for (std::size_t place = page->begin; place < page->end; ++place) data.append(post(user, place));
  return listing(call, *page, data);
}

/// Added videos stand between shared ones and posts of another type.
Json::Value FacebookGraph::post(std::size_t user, std::size_t place) const {
  const std::string id = MediaLibrary::videoId(user, place);
  Json::Value value;
  value["id"] = "post_" + id;
  if (place % 3 == 2) {
    value["type"] = "status";
    value["status_type"] = "mobile_status_update";
    return value;
  }
  value["type"] = "video";
  value["status_type"] = MediaLibrary::isAddedVideo(place) ? "added_video" : "shared_story";
  value["source"] = context_.baseUrl + MediaLibrary::videoPath(id);
  value["picture"] = pictureUrl(id, 130, 73);
  if (MediaLibrary::isAddedVideo(place)) value["object_id"] = id;
  return value;
}

Reply FacebookGraph::object(const Call& call, std::size_t user) const {
  const std::string name = call.rest.starts_with('/') ? call.rest.substr(1) : call.rest;
  for (std::size_t album = 0; album < library_.albumCount(user); ++album) {
    if (name == MediaLibrary::albumId(user, album) + "/photos") return photos(call, user, album);
  }
  for (std::size_t place = 0; place < library_.postCount(user); ++place) {
    if (MediaLibrary::isAddedVideo(place) && name == MediaLibrary::videoId(user, place)) {
      const auto strange = strangeField(call, {"id", "source", "picture"});
      return strange.empty() ? json(filtered(call, video(user, place))) : noSuchField(call, strange);
    }
  }
  return failure(call, unsupportedRequest, "GraphMethodException",
                 "Unsupported get request. Object with this ID does not exist.");
}

Reply FacebookGraph::photos(const Call& call, std::size_t user, std::size_t album) const {
  const auto name = strangeField(call, {"id", "source", "picture", "images"});
  if (!name.empty()) return noSuchField(call, name);
  const std::optional<Page> page = pageOf(call, library_.photoCount(user, album));
  if (!page) return failure(call, unsupportedRequest, "OAuthException", "Invalid cursor.");
  Json::Value data(Json::arrayValue);
  for (std::size_t place = page->begin; place < page->end; ++place) data.append(photo(user, album, place));
  return listing(call, *page, data);
}

/// Sizes come in no order; the largest is not the photo's own "source".
Json::Value FacebookGraph::photo(std::size_t user, std::size_t album, std::size_t place) const {
  const MediaLibrary::Picture picture = MediaLibrary::photo(user, album, place);
  constexpr std::array<unsigned, 4> allTwelfths{6, 12, 3, 2};
  Json::Value value;
  value["id"] = picture.id;
  value["source"] = pictureUrl(picture.id, picture.width / 2, picture.height / 2);
  value["picture"] = pictureUrl(picture.id, picture.width / 6, picture.height / 6);
  for (const unsigned twelfths : allTwelfths) {
    const unsigned width = picture.width * twelfths / 12;
    const unsigned height = picture.height * twelfths / 12;
    Json::Value image;
    image["width"] = width;
    image["height"] = height;
    image["source"] = pictureUrl(picture.id, width, height);
    value["images"].append(image);
  }
  return value;
}

/// Every sixth post's video hides its own source, as those of other people do.
Json::Value FacebookGraph::video(std::size_t user, std::size_t place) const {
  const std::string id = MediaLibrary::videoId(user, place);
  Json::Value value;
  value["id"] = id;
  value["picture"] = pictureUrl(id, 320, 180);
  if (place % 6 != 3) value["source"] = context_.baseUrl + MediaLibrary::videoPath(id);
  return value;
}

}  // namespace sandbox
