#pragma once

#include "sandbox/services/OauthService.h"

namespace sandbox {

/// Instagram for applications that publish: the login, short-lived tokens for codes, long-lived ones for
/// those and their renewal, the profile.
class InstagramAccount final : public OauthService {
 public:
  explicit InstagramAccount(ServiceContext& context);
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> scriptKeys() const override;

  static const OauthTraits traits;

 private:
  Reply token(const Call& call);
  Reply longLived(const Call& call);
  Reply renewed(const Call& call);
  Reply longReply(const std::string& openId);
  [[nodiscard]] Reply profile(const Call& call) const;
};

}  // namespace sandbox
