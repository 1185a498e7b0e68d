#pragma once

#include "sandbox/services/Service.h"

#include <json/value.h>

#include <optional>

namespace sandbox {

/// The server that brokers logins: application secret -> account token -> login session -> platform tokens,
/// and their refresh. Every answer is HTTP 200 with the envelope {"code", "msg", "data"}; code 0 is success.
/// It reads bodies as JSON whatever their Content-Type says.
class AccountServer final : public Service {
 public:
  explicit AccountServer(ServiceContext& context) : context_(context) {}
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> urlKeys() const override;

  static constexpr int codeBadBody = 40001;          ///< not a JSON object
  static constexpr int codeBadParameter = 40002;     ///< a member is missing or of the wrong type or value
  static constexpr int codeBadSecret = 40101;        ///< app_secret
  static constexpr int codeBadToken = 40102;         ///< the bearer is no live account token
  static constexpr int codeBadRefreshToken = 40103;  ///< unknown, revoked or spent
  static constexpr int codeNoSession = 40401;        ///< unknown login session

 private:
  Reply clientCredentials(const Call& call);
  Reply openSession(const Call& call);
  Reply code(const Call& call);
  Reply token(const Call& call);
  Reply consume(const Call& call);

  /// The refusal of a call without a live account token, or nothing.
  [[nodiscard]] std::optional<Reply> refusal(const Call& call) const;
  [[nodiscard]] std::string callbackUrl(const LoginSession& session, const std::string& code) const;

  ServiceContext& context_;
};

}  // namespace sandbox
