#pragma once

#include "sandbox/services/OauthService.h"

namespace sandbox {

/// Twitch's video upload, which the service has withdrawn: a video is created, sent in numbered parts, then
/// completed. The upload token is the permission to send. Only the last part may be small, and a part whose
/// answer was lost may come again. A video tells its state, and can be removed.
class TwitchVideos final : public OauthService {
 public:
  explicit TwitchVideos(ServiceContext& context);
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> scriptKeys() const override;

  static constexpr std::uint64_t smallestPart = std::uint64_t{5} << 20;
  static constexpr std::uint64_t largestPart = std::uint64_t{25} << 20;

 private:
  Reply create(const Call& call);
  Reply part(const Call& call);
  Reply receive(const Call& call, std::uint64_t number, UploadBook::Loan& upload);
  Reply complete(const Call& call);
  Reply look(const Call& call);
  Reply remove(const Call& call);
  /// The caller's video of the path, whose number may have a "v" in front; else why not.
  struct Found {
    std::optional<UploadRecord> upload;
    Reply refusal;
  };
  [[nodiscard]] Found found(const Call& call) const;
  /// The upload of the path, lent when the token fits.
  std::optional<UploadBook::Loan> lent(const Call& call);
};

}  // namespace sandbox
