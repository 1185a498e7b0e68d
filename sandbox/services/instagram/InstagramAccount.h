#pragma once

#include "sandbox/services/OauthService.h"

namespace sandbox {

/// Instagram for applications that publish, behind Facebook's login: codes for short-lived tokens, those for
/// long-lived ones, and the accounts that are connected to the user's pages.
class InstagramAccount final : public OauthService {
 public:
  explicit InstagramAccount(ServiceContext& context);
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> scriptKeys() const override;

  static const OauthTraits traits;

 private:
  Reply token(const Call& call);
  Reply shortLived(const FormFields& fields);
  Reply longLived(const FormFields& fields);
  Reply tokenReply(const std::string& openId, std::chrono::seconds lifetime);
  [[nodiscard]] Reply accounts(const Call& call) const;
};

}  // namespace sandbox
