#pragma once

#include "sandbox/services/OauthService.h"

namespace sandbox {

/// Facebook for applications that publish: the login dialog, codes for short-lived tokens, those for
/// long-lived ones, the profile, posts, and the end of an application's permissions.
class FacebookAccount final : public OauthService {
 public:
  explicit FacebookAccount(ServiceContext& context);
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> scriptKeys() const override;

  static const OauthTraits traits;

 private:
  Reply token(const Call& call);
  Reply shortLived(const FormFields& fields);
  Reply longLived(const FormFields& fields);
  [[nodiscard]] Reply profile(const Call& call) const;
  [[nodiscard]] Reply post(const Call& call) const;
  Reply removePermissions(const Call& call);
  Reply tokenReply(const std::string& openId, std::chrono::seconds lifetime);
};

/// The token of a call to the Graph API: the parameter, or the bearer.
[[nodiscard]] std::string facebookToken(const Call& call, const FormFields& fields);

}  // namespace sandbox
