#include "media_tasks/SNRFacebookEnumAlbumInfoTask.h"

#include "json/JsonAccess.h"
#include "media_tasks/FacebookGraph.h"
#include "media_tasks/mediaRecords.h"

#include <json/value.h>

#include <utility>

namespace KBL {

SNRFacebookEnumAlbumInfoTask::SNRFacebookEnumAlbumInfoTask(std::string accessToken, AlbumCallback onAlbum,
                                                           MediaErrorCallback onError, MediaFetcher& fetcher)
    : SNRRequestTask(onError, pageLimits, fetcher),
      accessToken_(std::move(accessToken)),
      itemCallback_(onAlbum) {}

// The cancel flag is not asked between pages: a cancelled fetch ends at once and brings no further address.
void SNRFacebookEnumAlbumInfoTask::Run() {
  std::string url = guarded([this] { return facebookAlbumsUrl(accessToken_); });
  while (!url.empty()) url = guarded([&] { return readPage(url); });
}

std::string SNRFacebookEnumAlbumInfoTask::readPage(const std::string& url) {
  Json::Value page;
  if (!fetchPage(url, page)) return {};
  const Json::Value& albums = facebookData(page);
  if (albums.isNull()) {
    if (const auto failure = facebookFailure(page)) {
      ReportError(failure->code, failure->message);
    } else {
      deliver(itemCallback_, hostAlbumRecord{});
    }
    return {};
  }
  walk(albums);
  std::string next = facebookNextPage(page);
  if (next.empty()) deliver(itemCallback_, albumRecord(facebookVideoAlbum, "VIDEOS", false));
  return next;
}

void SNRFacebookEnumAlbumInfoTask::walk(const Json::Value& albums) {
  if (!albums.isArray()) return;
  for (const Json::Value& album : albums) {
    if (isCancelled()) return;
    if (!deliver(itemCallback_, albumRecord(jsonTextView(album, "id"), jsonTextView(album, "name"), true)))
      return;
  }
}

}  // namespace KBL
