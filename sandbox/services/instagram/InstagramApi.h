#pragma once

#include "sandbox/services/media/MediaService.h"

namespace sandbox {

/// Instagram's list of a user's own recent media; every request is signed.
class InstagramApi final : public MediaService {
 public:
  explicit InstagramApi(ServiceContext& context) : MediaService(context) {}
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> urlKeys() const override;

 private:
  [[nodiscard]] Reply recentMedia(const Call& call) const;
  [[nodiscard]] Json::Value element(std::size_t user, std::size_t place) const;
};

}  // namespace sandbox
