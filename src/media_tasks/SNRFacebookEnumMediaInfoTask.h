#pragma once

#include "media_tasks/SNRRequestTask.h"

namespace KBL {

/// Lists the photos of one album, or all the user's videos where the album is the made-up one.
class SNRFacebookEnumMediaInfoTask final : public SNRRequestTask {
 public:
  SNRFacebookEnumMediaInfoTask(std::string accessToken, std::string albumId, MediaCallback onMedia,
                               MediaErrorCallback onError, MediaFetcher& fetcher);
  ~SNRFacebookEnumMediaInfoTask() override { Stop(); }

  void Run() override;

 private:
  using ReadItems = void (SNRFacebookEnumMediaInfoTask::*)(const Json::Value& items);

  /// Reads one page; returns the address of the next, or nothing.
  [[nodiscard]] std::string readPage(const std::string& url, ReadItems readItems);
  void readPhotos(const Json::Value& photos);
  void readPosts(const Json::Value& posts);
  [[nodiscard]] bool deliverVideo(const Json::Value& post);
  /// The video's own object, or a null value.
  [[nodiscard]] Json::Value fetchVideo(const std::string& objectId);
  /// True once too many videos have stalled: the list ends.
  [[nodiscard]] bool hasLostPatience() const;

  const std::string accessToken_;
  const std::string albumId_;
  const MediaCallback itemCallback_;
  int stalledInARow_ = 0;  // fetches of videos
};

}  // namespace KBL
