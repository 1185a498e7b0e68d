#include "media_tasks/FacebookGraph.h"

#include "json/JsonAccess.h"
#include "media_tasks/MediaHosts.h"
#include <KblUtils/Result.h>

#include <json/value.h>

namespace KBL {

namespace {

constexpr const char* versionPath = "/v2.2/";
constexpr const char* plainReply = "&format=json&method=get&pretty=0&suppress_http_code=1";

std::string graphBase() {
  return facebookGraphHost() + versionPath;
}

}  // namespace

std::string facebookAlbumsUrl(const std::string& token) {
  return graphBase() + "me/albums?access_token=" + token + plainReply + "&limit=50";
}

// The posts and the video stand behind two slashes; the service takes them so, and that is how they are
// asked.

std::string facebookPostsUrl(const std::string& token) {
  return graphBase() + "/me/posts?fields=status_type,source,picture,type,object_id&access_token=" + token +
         plainReply;
}

std::string facebookPhotosUrl(const std::string& albumId, const std::string& token) {
  return graphBase() + albumId + "/photos?fields=id,source,picture,images&access_token=" + token + plainReply;
}

std::string facebookVideoUrl(const std::string& objectId, const std::string& token) {
  return graphBase() + "/" + objectId + "?access_token=" + token;
}

const Json::Value& facebookData(const Json::Value& page) {
  return jsonMember(page, "data");
}

std::string facebookNextPage(const Json::Value& page) {
  return jsonText(jsonMember(page, "paging"), "next");
}

std::optional<FacebookFailure> facebookFailure(const Json::Value& page) {
  const Json::Value& error = jsonMember(page, "error");
  if (error.isNull()) return std::nullopt;
  // An error that is no object has no code either.
  const int code = error.isObject() ? jsonCode(error, {"code"}).value_or(ErrorCode::replyNotRead) : 0;
  return FacebookFailure{code, jsonText(error, "message")};
}

}  // namespace KBL
