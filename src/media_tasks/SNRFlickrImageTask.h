#pragma once

#include "media_tasks/FlickrUrl.h"
#include "media_tasks/SNRRequestTask.h"

namespace KBL {

/// Lists all of a user's photos.
class SNRFlickrImageTask final : public SNRRequestTask {
 public:
  SNRFlickrImageTask(std::string applicationKey, std::string applicationSecret, const std::string& tokenPair,
                     MediaCallback onMedia, MediaErrorCallback onError, MediaFetcher& fetcher);
  ~SNRFlickrImageTask() override { Stop(); }

  void Run() override;

 private:
  /// Reads one page; returns the address of the next, or nothing.
  [[nodiscard]] std::string readPage(const std::string& url);
  void walk(const Json::Value& photos);
  [[nodiscard]] std::string pageUrl(int page) const;

  const FlickrCredentials credentials_;
  const MediaCallback itemCallback_;
};

}  // namespace KBL
