#pragma once

#include "sandbox/services/OauthService.h"

#include <chrono>
#include <map>
#include <mutex>

namespace sandbox {

/// Instagram's publishing of reels: a container is opened, the video is sent into it (bytes of a broken
/// request count), the container is asked until it is ready, then it is published, once. What was published
/// can be listed.
class InstagramReels final : public OauthService {
 public:
  explicit InstagramReels(ServiceContext& context);
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> scriptKeys() const override;

  static constexpr int notReady = 9007;  ///< with subcode 2207027

 private:
  Reply open(const Call& call);
  Reply receive(const Call& call);
  Reply append(const Call& call, std::uint64_t offset, std::uint64_t size, UploadBook::Loan& upload);
  Reply look(const Call& call);
  Reply published(const User& user, const std::string& fields);
  Json::Value mediaOf(const UploadRecord& upload, const std::string& fields);
  Reply publish(const Call& call);
  [[nodiscard]] Json::Value statusOf(const UploadRecord& upload, const std::string& fields);
  [[nodiscard]] bool isReady(const std::string& id, const UploadRecord& upload);
  /// The caller when the token is good and the path's user is its owner.
  [[nodiscard]] std::optional<Reply> refusedCaller(const Call& call, const FormFields& fields) const;

  std::mutex mutex_;
  std::map<std::string, std::chrono::system_clock::time_point> published_;  ///< by media id
  std::map<std::string, unsigned> questions_;  ///< about a container since its video is there
};

}  // namespace sandbox
