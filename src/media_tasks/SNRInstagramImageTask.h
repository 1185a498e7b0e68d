#pragma once

#include "media_tasks/SNRRequestTask.h"

namespace KBL {

/// The address of one page of the user's own recent media, signed with the application's secret. `maxId` is
/// empty for the first page; token and id stand in it as they are.
[[nodiscard]] std::string instagramPageUrl(const std::string& host, const std::string& token,
                                           const std::string& applicationSecret, const std::string& maxId);

/// Lists the user's own recent media.
class SNRInstagramImageTask final : public SNRRequestTask {
 public:
  SNRInstagramImageTask(std::string accessToken, MediaCallback onMedia, MediaErrorCallback onError,
                        MediaFetcher& fetcher);
  ~SNRInstagramImageTask() override { Stop(); }

  void Run() override;

 private:
  /// Reads one page; returns the address of the next, or nothing.
  [[nodiscard]] std::string readPage(const std::string& url);
  void walk(const Json::Value& elements);
  [[nodiscard]] std::string pageUrl(const std::string& maxId) const;

  const std::string accessToken_;
  const std::string applicationSecret_;
  const MediaCallback itemCallback_;
};

}  // namespace KBL
