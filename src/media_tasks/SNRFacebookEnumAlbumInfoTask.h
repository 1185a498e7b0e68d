#pragma once

#include "media_tasks/SNRRequestTask.h"

namespace KBL {

/// Lists the user's albums. Videos have no album at the service, so that the list ends with a made-up one,
/// which the media task knows.
class SNRFacebookEnumAlbumInfoTask final : public SNRRequestTask {
 public:
  SNRFacebookEnumAlbumInfoTask(std::string accessToken, AlbumCallback onAlbum, MediaErrorCallback onError,
                               MediaFetcher& fetcher);
  ~SNRFacebookEnumAlbumInfoTask() override { Stop(); }

  void Run() override;

 private:
  /// Reads one page; returns the address of the next, or nothing.
  [[nodiscard]] std::string readPage(const std::string& url);
  void walk(const Json::Value& albums);

  const std::string accessToken_;
  const AlbumCallback itemCallback_;
};

}  // namespace KBL
