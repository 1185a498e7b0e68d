#include "media_tasks/SNRFlickrImageTask.h"

#include "json/JsonAccess.h"
#include "media_tasks/MediaHosts.h"
#include "media_tasks/mediaRecords.h"
#include <KblUtils/Result.h>
#include <KblUtils/TimeUtil.h>

#include <json/value.h>

#include <string_view>
#include <utility>

namespace KBL {

namespace {

constexpr int photosPerPage = 50;
constexpr std::size_t usualAddress = 128;

/// What is read of a photo, found in one pass over its members.
struct Photo {
  explicit Photo(const Json::Value& photo);

  int farm = 0;
  std::string_view server, id, secret, url;
};

Photo::Photo(const Json::Value& photo) {
  if (!photo.isObject()) return;
  const auto last = photo.end();
  for (auto member = photo.begin(); member != last; ++member) {
    const char* end = nullptr;
    const char* const begin = member.memberName(&end);
    const std::string_view name(begin, static_cast<std::size_t>(end - begin));
    if (name == "farm") {
      farm = member->isInt() ? member->asInt() : 0;
    } else if (name == "server") {
      server = jsonTextView(*member);
    } else if (name == "id") {
      id = jsonTextView(*member);
    } else if (name == "secret") {
      secret = jsonTextView(*member);
    } else if (name == "url_o") {
      url = jsonTextView(*member);
    }
  }
}

std::string thumbnailUrl(const FlickrPhotoHosts& hosts, const Photo& photo) {
  std::string url;
  url.reserve(usualAddress);
  hosts.append(url, photo.farm);
  (url += '/') += photo.server;
  (url += '/') += photo.id;
  (url += '_') += photo.secret;
  return url += "_t.jpg";
}

}  // namespace

SNRFlickrImageTask::SNRFlickrImageTask(std::string applicationKey, std::string applicationSecret,
                                       const std::string& tokenPair, MediaCallback onMedia,
                                       MediaErrorCallback onError, MediaFetcher& fetcher)
    : SNRRequestTask(onError, pageLimits, fetcher),
      credentials_(std::move(applicationKey), std::move(applicationSecret), tokenPair),
      itemCallback_(onMedia) {}

void SNRFlickrImageTask::Run() {
  walkPages([this] { return pageUrl(1); }, [this](const std::string& url) { return readPage(url); });
  deliver(itemCallback_, hostMediaRecord{});
}

std::string SNRFlickrImageTask::pageUrl(int page) const {
  return flickrPageUrl(credentials_, flickrRestHost(), page, photosPerPage, TimeUtil::nowSinceEpoch());
}

std::string SNRFlickrImageTask::readPage(const std::string& url) {
  Json::Value reply;
  if (!fetchPage(url, reply)) return {};
  const Json::Value& stat = jsonMember(reply, "stat");
  if (stat.isNull() || stat == "fail") {
    ReportError(jsonCode(reply, {"code"}).value_or(ErrorCode::replyNotRead), jsonText(reply, "message"));
    return {};
  }
  const Json::Value& photos = jsonMember(reply, "photos");
  const Json::Value& photo = jsonMember(photos, "photo");
  if (!photo.isArray()) {
    ReportError(MediaError::unusableReply, "can't find photo node.");
    return {};
  }
  // Signed before the walk, which may take a host any time.
  const int page = jsonInt(photos, "page");
  std::string next = page < jsonInt(photos, "pages") ? pageUrl(page + 1) : std::string();
  walk(photo);
  return next;
}

void SNRFlickrImageTask::walk(const Json::Value& photos) {
  const FlickrPhotoHosts hosts;
  for (const Json::Value& item : photos) {
    if (isCancelled()) return;
    const Photo photo(item);
    const auto record = mediaRecord(mediaImage, photo.url, thumbnailUrl(hosts, photo));
    if (!deliver(itemCallback_, record)) return;
  }
}

}  // namespace KBL
