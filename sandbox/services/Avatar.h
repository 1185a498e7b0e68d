#pragma once

#include "sandbox/services/Service.h"

namespace sandbox {

/// The picture behind each user's avatar address: the same small drawing for everybody.
class Avatar final : public Service {
 public:
  explicit Avatar(ServiceContext& context) : context_(context) {}
  void addTo(Router& router) override;

  /// The address that profile answers give.
  [[nodiscard]] static std::string url(const ServiceContext& context, const User& user);

 private:
  ServiceContext& context_;
};

}  // namespace sandbox
