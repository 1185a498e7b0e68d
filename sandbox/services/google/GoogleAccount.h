#pragma once

#include "sandbox/services/OauthService.h"

namespace sandbox {

/// Google's login for applications that publish to YouTube: code flow with a code challenge, refresh tokens
/// that stay good, the end of a grant; the channel of the user, and a video's thumbnail.
class GoogleAccount final : public OauthService {
 public:
  explicit GoogleAccount(ServiceContext& context);
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> scriptKeys() const override;

 private:
  Reply token(const Call& call);
  Reply tradeCode(const FormFields& fields);
  Reply tradeRefreshToken(const FormFields& fields);
  Reply revoke(const Call& call);
  [[nodiscard]] Reply channels(const Call& call) const;
  Reply setThumbnail(const Call& call);
};

}  // namespace sandbox
