#pragma once

#include "sandbox/services/OauthService.h"

namespace sandbox {

/// Vimeo for applications that publish: the login, tokens without an end, the profile with the space that is
/// left, the categories, and the end of a token.
class VimeoAccount final : public OauthService {
 public:
  explicit VimeoAccount(ServiceContext& context);
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> scriptKeys() const override;

  static const OauthTraits traits;
  static constexpr const char* apiPath = "/vimeo";
  static constexpr std::uint64_t freeSpace = std::uint64_t{5} << 30;

 private:
  Reply token(const Call& call);
  [[nodiscard]] Reply profile(const Call& call) const;
  [[nodiscard]] Reply categories(const Call& call) const;
  Reply removeToken(const Call& call);
};

/// Vimeo's own error shape.
[[nodiscard]] Reply vimeoError(int status, int code, const std::string& message);
[[nodiscard]] Reply vimeoUnauthorized();
[[nodiscard]] bool isVimeoCategory(const std::string& name);

}  // namespace sandbox
