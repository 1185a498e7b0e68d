#include "media_tasks/SNRFlickrImageTask.h"

#include "json/JsonAccess.h"
#include "media_tasks/MediaHosts.h"
#include "media_tasks/mediaRecords.h"
#include <KblUtils/Result.h>
#include <KblUtils/TimeUtil.h>

#include <json/value.h>

#include <utility>

namespace KBL {

namespace {

constexpr int photosPerPage = 50;

std::string thumbnailUrl(const Json::Value& photo) {
  return flickrPhotoHost(jsonInt(photo, "farm")) + "/" + jsonText(photo, "server") + "/" +
         jsonText(photo, "id") + "_" + jsonText(photo, "secret") + "_t.jpg";
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
  for (const Json::Value& photo : photos) {
    if (isCancelled()) return;
    const auto record = mediaRecord(mediaImage, jsonText(photo, "url_o"), thumbnailUrl(photo));
    if (!deliver(itemCallback_, record)) return;
  }
}

}  // namespace KBL
