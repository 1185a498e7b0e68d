#include "media_tasks/SNRFacebookEnumMediaInfoTask.h"

#include "json/JsonAccess.h"
#include "media_tasks/FacebookGraph.h"
#include "media_tasks/mediaRecords.h"

#include <json/value.h>

#include <utility>

namespace KBL {

namespace {

/// Width times height in 32 bits: an area that does not fit wraps around, and such an image loses.
std::int32_t areaOf(const Json::Value& image) {
  const auto width = static_cast<std::uint32_t>(jsonInt(image, "width"));
  const auto height = static_cast<std::uint32_t>(jsonInt(image, "height"));
  return static_cast<std::int32_t>(width * height);
}

/// The address of the largest image, the first of equal ones; the photo's own source where none has a size.
std::string_view largestSource(const Json::Value& photo) {
  std::string_view source = jsonTextView(photo, "source");
  const Json::Value& images = jsonMember(photo, "images");
  if (!images.isArray()) return source;
  std::int32_t best = 0;
  for (const Json::Value& image : images) {
    const std::int32_t area = areaOf(image);
    if (best >= area) continue;
    best = area;
    source = jsonTextView(image, "source");
  }
  return source;
}

/// A server that stalls this often in a row is not asked for a further video: each costs half a minute.
constexpr int toleratedStalls = 2;

bool isAddedVideo(const Json::Value& post) {
  return jsonTextView(post, "type") == "video" && jsonTextView(post, "status_type") == "added_video";
}

}  // namespace

SNRFacebookEnumMediaInfoTask::SNRFacebookEnumMediaInfoTask(std::string accessToken, std::string albumId,
                                                           MediaCallback onMedia, MediaErrorCallback onError,
                                                           MediaFetcher& fetcher)
    : SNRRequestTask(onError, pageLimits, fetcher),
      accessToken_(std::move(accessToken)),
      albumId_(std::move(albumId)),
      itemCallback_(onMedia) {}

void SNRFacebookEnumMediaInfoTask::Run() {
  const bool wantsVideos = albumId_ == facebookVideoAlbum;
  const ReadItems readItems =
      wantsVideos ? &SNRFacebookEnumMediaInfoTask::readPosts : &SNRFacebookEnumMediaInfoTask::readPhotos;
  const auto first = [&] {
    return wantsVideos ? facebookPostsUrl(accessToken_) : facebookPhotosUrl(albumId_, accessToken_);
  };
  walkPages(first, [&](const std::string& url) { return readPage(url, readItems); });
  deliver(itemCallback_, hostMediaRecord{});
}

bool SNRFacebookEnumMediaInfoTask::hasLostPatience() const {
  return stalledInARow_ >= toleratedStalls;
}

std::string SNRFacebookEnumMediaInfoTask::readPage(const std::string& url, ReadItems readItems) {
  Json::Value page;
  if (!fetchPage(url, page)) return {};
  const Json::Value& items = facebookData(page);
  if (items.isNull()) {
    if (const auto failure = facebookFailure(page)) {
      ReportError(failure->code, failure->message);
      return {};
    }
  }
  if (items.isArray()) (this->*readItems)(items);
  return hasLostPatience() ? std::string() : facebookNextPage(page);
}

void SNRFacebookEnumMediaInfoTask::readPhotos(const Json::Value& photos) {
  for (const Json::Value& photo : photos) {
    if (isCancelled()) return;
    const auto record = mediaRecord(mediaImage, largestSource(photo), jsonTextView(photo, "picture"));
    if (!deliver(itemCallback_, record)) return;
  }
}

void SNRFacebookEnumMediaInfoTask::readPosts(const Json::Value& posts) {
  for (const Json::Value& post : posts) {
    if (isCancelled() || hasLostPatience()) return;
    if (isAddedVideo(post) && !deliverVideo(post)) return;
  }
}

bool SNRFacebookEnumMediaInfoTask::deliverVideo(const Json::Value& post) {
  Json::Value video;
  const std::string objectId = jsonText(post, "object_id");
  if (!objectId.empty()) video = fetchVideo(objectId);
  const bool isComplete = !jsonTextView(video, "source").empty() && !jsonTextView(video, "picture").empty();
  const Json::Value& chosen = isComplete ? video : post;
  return deliver(itemCallback_,
                 mediaRecord(mediaVideo, jsonTextView(chosen, "source"), jsonTextView(chosen, "picture")));
}

Json::Value SNRFacebookEnumMediaInfoTask::fetchVideo(const std::string& objectId) {
  std::string body;
  Json::Value video;
  const bool isFetched = Fetch(facebookVideoUrl(objectId, accessToken_), body);
  stalledInARow_ = hasStalled() ? stalledInARow_ + 1 : 0;
  if (!isFetched) {
    ReportError(MediaError::fetchFailed, errorText());
    return {};
  }
  return parseJson(body, mediaPageForm, video) ? video : Json::Value();
}

}  // namespace KBL
