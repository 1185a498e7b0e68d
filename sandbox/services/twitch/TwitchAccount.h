#pragma once

#include "sandbox/services/OauthService.h"

namespace sandbox {

/// Twitch's login: codes and refresh tokens (good once) for tokens, their end, and the user behind a token.
class TwitchAccount final : public OauthService {
 public:
  explicit TwitchAccount(ServiceContext& context);
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> scriptKeys() const override;

  static const OauthTraits traits;

 private:
  Reply token(const Call& call);
  [[nodiscard]] Reply tokenReply(const IssuedTokens& tokens, const std::string& scope);
  Reply revoke(const Call& call);
  [[nodiscard]] Reply users(const Call& call) const;
};

/// Twitch's own error shape.
[[nodiscard]] Reply twitchError(int status, const std::string& message);
/// The header names a known application.
[[nodiscard]] bool isTwitchClient(const ServiceContext& context, const Call& call);

}  // namespace sandbox
