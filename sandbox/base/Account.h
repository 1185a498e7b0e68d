#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace sandbox {

enum class Platform {
  youtube = 0,
  vimeo = 1,
  tiktok = 2,
  douyin = 3,
  facebook = 4,
  flickr = 5,
  instagram = 6,
  twitch = 7
};

/// As people write it.
[[nodiscard]] std::string platformName(Platform platform);

/// A made-up person who can sign in.
struct User {
  std::string openId;  ///< distinct; the account id at every platform
  std::string email;
  std::string name;
  std::string givenName;
  std::string familyName;
  std::string locale = "en";
};

/// Tokens of one user at one platform.
struct IssuedTokens {
  std::string accessToken;
  std::string refreshToken;
  std::chrono::seconds lifetime{0};
};

enum class TokenKind { account, access, refresh };

/// What the sandbox knows of a token.
struct TokenState {
  TokenKind kind = TokenKind::access;
  Platform platform = Platform::youtube;         ///< not of an account token
  std::string openId;                            ///< not of an account token
  std::chrono::system_clock::time_point expiry;  ///< a refresh token has none: time_point::max()
  bool revoked = false;                          ///< revoked, or a refresh token that was spent
};

enum class Decision { pending, allowed, denied };
/// "pending", "allowed" or "denied".
[[nodiscard]] const char* decisionName(Decision decision);

/// One login, from the session endpoint to the code endpoint.
struct LoginSession {
  std::string id;
  Platform platform = Platform::youtube;
  std::string url;                  ///< the host's own address, when it gave one
  bool byRedirect = false;          ///< ends at that address; the application gets its tokens for a code
  std::vector<std::string> scopes;  ///< empty when none were sent
  std::string openUrl;              ///< what a browser opens
  unsigned polls = 0;               ///< questions to the code endpoint so far
  Decision decision = Decision::pending;
  std::string openId;  ///< who allowed it
};

}  // namespace sandbox
