#pragma once

#include "sandbox/services/Service.h"

#include <json/value.h>

#include <optional>
#include <string>

namespace sandbox {

using FormFields = std::vector<std::pair<std::string, std::string>>;

/// First value of the name, or nothing.
[[nodiscard]] std::optional<std::string> fieldOf(const FormFields& fields, const std::string& name);
[[nodiscard]] std::string fieldText(const FormFields& fields, const std::string& name);

/// What tells the login of one service from that of another.
struct OauthTraits {
  Platform platform;
  Route loginRoute;
  const char* loginKey;   ///< key of the scripts' table
  const char* loginPath;  ///< the page that the browser opens
  bool needsChallenge;    ///< a code challenge by SHA-256 is required, not only checked
  bool needsScope;
};

/// Base of the services whose login is OAuth 2 with an authorization code: the login page, and the checks
/// behind the token endpoint. Everything that a strict service may refuse is refused, and a login without
/// "state" as well, since an application that leaves it out can be given somebody else's code.
class OauthService : public Service {
 protected:
  OauthService(ServiceContext& context, const OauthTraits& traits) : context_(context), traits_(traits) {}

  void addLoginTo(Router& router);
  [[nodiscard]] std::pair<std::string, std::string> loginKey() const {
    return {traits_.loginKey, traits_.loginPath};
  }

  /// One of the error words of OAuth 2, and a sentence.
  struct Refusal {
    std::string error;
    std::string description;
  };
  [[nodiscard]] std::optional<Refusal> refusedClient(const FormFields& fields) const;
  /// Trades the code in: client, redirect address and code verifier must be those of the login. The code is
  /// gone either way.
  struct Exchange {
    std::optional<Grant> grant;
    Refusal refusal;
  };
  [[nodiscard]] Exchange exchangeCode(const FormFields& fields);
  /// The user of the service's live access token.
  [[nodiscard]] std::optional<User> userOf(const std::string& token) const {
    return context_.userOf(token, traits_.platform);
  }
  /// What the book knows of a token of this service, dead ones included.
  [[nodiscard]] std::optional<TokenState> stateOf(const std::string& token) const;

  [[nodiscard]] static Reply json(const Json::Value& value, int status = 200);
  /// {"error", "error_description"}, as the standard has it.
  [[nodiscard]] static Reply standardError(const Refusal& refusal, int status = 400);
  /// The fields of an URL-encoded body; none for a body of another type.
  [[nodiscard]] static FormFields bodyFields(const Call& call);
  /// Query and body together.
  [[nodiscard]] static FormFields allFields(const Call& call);
  /// The token of "Authorization: SCHEME TOKEN"; empty for another scheme.
  [[nodiscard]] static std::string authorization(const Call& call, const std::string& scheme);

  ServiceContext& context_;

 private:
  Reply login(const Call& call);
  [[nodiscard]] std::optional<Reply> refusedApplication(const FormFields& fields) const;
  [[nodiscard]] std::optional<Refusal> refusedRequest(const FormFields& fields) const;

  const OauthTraits traits_;
};

}  // namespace sandbox
