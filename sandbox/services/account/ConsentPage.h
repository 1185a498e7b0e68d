#pragma once

#include "sandbox/services/Service.h"

namespace sandbox {

/// The pages in the person's browser: the one that asks for consent, and the one that closes a login.
class ConsentPage final : public Service {
 public:
  explicit ConsentPage(ServiceContext& context) : context_(context) {}
  void addTo(Router& router) override;

 private:
  [[nodiscard]] Reply show(const Call& call) const;
  Reply decide(const Call& call);
  [[nodiscard]] Reply closing(const LoginSession& session) const;

  ServiceContext& context_;
};

}  // namespace sandbox
