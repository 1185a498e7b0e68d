#pragma once

#include "sandbox/base/Account.h"

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// What an application asked for when it sent a person to the login page.
struct LoginRequest {
  Platform platform = Platform::facebook;
  std::string clientId;
  std::string redirectUri;
  std::string state;
  std::string scope;
  std::string challenge;     ///< SHA-256 of the code verifier, base64url; empty without one
  bool offline = false;      ///< a refresh token was asked for
  std::string requestToken;  ///< of OAuth 1.0a; empty with OAuth 2
};

/// What the person allowed.
struct Grant {
  LoginRequest request;
  std::string openId;
};

/// The logins that end by a redirect, from the login page to the code that the application trades in. Kept in
/// memory: such a login takes minutes. Thread-safe.
class OauthGrants {
 public:
  /// A code is good for so long, and once.
  static constexpr std::chrono::minutes codeLifetime{10};

  void expect(const std::string& sessionId, LoginRequest request);
  /// Where the browser goes once the login is decided: the redirect address with a code or a refusal, the
  /// same each time. Nothing while nobody decided, and for logins that do not end by a redirect.
  std::optional<std::string> address(const LoginSession& session);
  /// Takes the code (the verifier, with OAuth 1.0a) away.
  std::optional<Grant> spend(const std::string& code);

 private:
  struct Pending {
    LoginRequest request;
    std::string address;
  };
  struct Issued {
    Grant grant;
    std::chrono::steady_clock::time_point end;
  };
  [[nodiscard]] std::string refusalAddress(const LoginRequest& request) const;
  std::string consentAddress(const LoginRequest& request, const std::string& openId);

  std::mutex mutex_;
  std::map<std::string, Pending> pending_;
  std::map<std::string, Issued> codes_;
};

/// The address with these parameters behind its own.
[[nodiscard]] std::string withParameters(const std::string& address,
                                         const std::vector<std::pair<std::string, std::string>>& parameters);

}  // namespace sandbox
