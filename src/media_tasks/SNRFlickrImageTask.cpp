#include "media_tasks/SNRFlickrImageTask.h"

#include "foundation/KblUtils/TimeUtil.h"
#include "media_tasks/MediaHosts.h"
#include "media_tasks/mediaRecord.h"
#include "requests/JsonAccess.h"

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
                                       MediaErrorCallback onError)
    : SNRRequestTask(onError, largestPageBytes),
      credentials_(std::move(applicationKey), std::move(applicationSecret), tokenPair),
      itemCallback_(onMedia) {}

void SNRFlickrImageTask::Run() {
  std::string url = pageUrl(1);
  do {
    url = readPage(url);
  } while (!url.empty() && !isCancelled());
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
    ReportError(jsonInt(reply, "code"), jsonText(reply, "message"));
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
