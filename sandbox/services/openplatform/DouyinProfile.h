#pragma once

#include "sandbox/services/Service.h"

namespace sandbox {

/// Douyin's user info.
class DouyinProfile final : public Service {
 public:
  explicit DouyinProfile(ServiceContext& context) : context_(context) {}
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> urlKeys() const override;

 private:
  Reply userInfo(const Call& call);

  ServiceContext& context_;
};

}  // namespace sandbox
