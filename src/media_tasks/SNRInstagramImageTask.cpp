#include "media_tasks/SNRInstagramImageTask.h"

#include "json/JsonAccess.h"
#include "media_tasks/MediaHosts.h"
#include "media_tasks/mediaRecords.h"
#include "media_tasks/signing.h"
#include <KblUtils/Result.h>

#include <json/value.h>

#include <utility>

namespace KBL {

namespace {

/// Belongs to the deployment; set by the build (KBL_INSTAGRAM_SECRET). Used as text, not as hexadecimal.
constexpr const char* deployedSecret = KBL_INSTAGRAM_SECRET;

constexpr int goodCode = 200;

std::string_view standardUrl(const Json::Value& sizes) {
  return jsonTextView(jsonMember(sizes, "standard_resolution"), "url");
}

}  // namespace

// What is signed has neither the version nor the slash at the end of the path that is asked for.
std::string instagramPageUrl(const std::string& host, const std::string& token,
                             const std::string& applicationSecret, const std::string& maxId) {
  std::string signedText = "/users/self/media/recent|access_token=" + token + "|count=30";
  std::string url = host + "/v1/users/self/media/recent/?count=30&access_token=" + token;
  if (!maxId.empty()) {
    signedText += "|max_id=" + maxId;
    url += "&max_id=" + maxId;
  }
  return url + "&sig=" + hmacSha256Hex(applicationSecret, signedText);
}

SNRInstagramImageTask::SNRInstagramImageTask(std::string accessToken, MediaCallback onMedia,
                                             MediaErrorCallback onError, MediaFetcher& fetcher)
    : SNRRequestTask(onError, pageLimits, fetcher),
      accessToken_(std::move(accessToken)),
      applicationSecret_(deployedSecret),
      itemCallback_(onMedia) {}

void SNRInstagramImageTask::Run() {
  walkPages([this] { return pageUrl({}); }, [this](const std::string& url) { return readPage(url); });
  deliver(itemCallback_, hostMediaRecord{});
}

std::string SNRInstagramImageTask::pageUrl(const std::string& maxId) const {
  return instagramPageUrl(instagramApiHost(), accessToken_, applicationSecret_, maxId);
}

std::string SNRInstagramImageTask::readPage(const std::string& url) {
  Json::Value reply;
  if (!fetchPage(url, reply)) return {};
  const Json::Value& meta = jsonMember(reply, "meta");
  const int code = jsonCode(reply, {"meta", "code"}).value_or(ErrorCode::replyNotRead);
  if (code != goodCode) {
    ReportError(code, jsonText(meta, "message"));
    return {};
  }
  const Json::Value& data = jsonMember(reply, "data");
  if (data.isArray()) walk(data);
  const std::string nextId = jsonText(jsonMember(reply, "pagination"), "next_max_id");
  return nextId.empty() ? std::string() : pageUrl(nextId);
}

void SNRInstagramImageTask::walk(const Json::Value& elements) {
  for (const Json::Value& element : elements) {
    if (isCancelled()) return;
    const Json::Value& images = jsonMember(element, "images");
    if (!images.isObject()) continue;
    const Json::Value& videos = jsonMember(element, "videos");
    const bool isVideo = videos.isObject();
    const auto record = mediaRecord(isVideo ? mediaVideo : mediaImage, standardUrl(isVideo ? videos : images),
                                    jsonTextView(jsonMember(images, "thumbnail"), "url"));
    if (!deliver(itemCallback_, record)) return;
  }
}

}  // namespace KBL
