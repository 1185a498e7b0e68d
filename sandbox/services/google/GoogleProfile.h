#pragma once

#include "sandbox/services/Service.h"

namespace sandbox {

/// Google's user info and the list of YouTube's video categories.
class GoogleProfile final : public Service {
 public:
  explicit GoogleProfile(ServiceContext& context) : context_(context) {}
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> urlKeys() const override;

 private:
  Reply userInfo(const Call& call);
  Reply categories(const Call& call);

  ServiceContext& context_;
};

}  // namespace sandbox
