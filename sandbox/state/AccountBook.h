#pragma once

#include "sandbox/base/Account.h"
#include "sandbox/base/SandboxOptions.h"
#include "sandbox/state/StateTable.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// Users, logins and tokens. Thread-safe.
///
/// Tokens and users are kept between processes, and several processes may share a state folder; so a token is
/// never removed from the book but marked, and what another process knows of it is merged in.
class AccountBook {
 public:
  explicit AccountBook(const SandboxOptions& options);

  [[nodiscard]] std::vector<User> users() const;
  [[nodiscard]] std::optional<User> user(const std::string& openId) const;
  void addUser(const User& user);
  bool chooseUser(const std::string& openId);
  [[nodiscard]] User chosenUser() const;

  void setConsent(Consent consent);
  [[nodiscard]] Consent consent() const;
  void setPollsBeforeConsent(unsigned polls);
  LoginSession openSession(Platform platform, const std::string& url, std::vector<std::string> scopes,
                           const std::string& pageUrl);
  /// A login that ends by a redirect to the application's own address. Allowed at once with automatic
  /// consent.
  LoginSession openRedirectSession(Platform platform, const std::string& redirectUri,
                                   std::vector<std::string> scopes, const std::string& pageUrl);
  [[nodiscard]] std::optional<LoginSession> session(const std::string& id) const;
  [[nodiscard]] std::vector<LoginSession> sessions() const;
  /// One question to the code endpoint. The tokens are there once the login is allowed, and the same for
  /// every later question.
  struct Poll {
    LoginSession session;
    IssuedTokens tokens;
  };
  std::optional<Poll> poll(const std::string& sessionId);
  bool decide(const std::string& sessionId, bool allowed, const std::string& openId);
  std::optional<std::string> waitForPending(std::chrono::milliseconds limit);

  std::string issueAccountToken();
  IssuedTokens issueTokens(Platform platform, const std::string& openId);
  /// An access token alone; without `lifetime` it never ends.
  std::string issueAccessToken(Platform platform, const std::string& openId,
                               std::optional<std::chrono::seconds> lifetime);
  /// A new access token for a refresh token that stays good; nothing as with refresh.
  std::optional<IssuedTokens> renew(const std::string& refreshToken);
  /// Spends the refresh token; nothing when it is unknown, revoked or spent.
  std::optional<IssuedTokens> refresh(const std::string& refreshToken);
  void setTokenLifetime(std::chrono::seconds lifetime);
  void expire(TokenKind kind, const std::string& openId);
  void revoke(const std::string& openId);
  void revokeToken(const std::string& text);
  /// Whether the token that signs the user in at a media service (MediaAccounts.h) is still good. What ends a
  /// user's access tokens ends these too, until the sandbox starts anew.
  [[nodiscard]] bool isMediaTokenGood(Platform platform, const std::string& openId) const;
  /// Every token of the user at the platform.
  void revokeAt(Platform platform, const std::string& openId);
  /// The access tokens of the user at the platform; the refresh token stays good.
  void expireAt(Platform platform, const std::string& openId);
  /// Texts and states of the tokens that are good now.
  [[nodiscard]] std::vector<std::pair<std::string, TokenState>> liveTokens() const;
  [[nodiscard]] std::optional<TokenState> token(const std::string& text) const;
  [[nodiscard]] bool isGoodAccountToken(const std::string& text) const;
  /// Whose access token of the platform this is; nothing when it is unknown, expired or revoked.
  [[nodiscard]] std::optional<User> userOf(const std::string& accessToken, Platform platform) const;

  /// What is kept between processes: users that were added, and tokens that are not long over.
  [[nodiscard]] std::vector<StateTable> tables();

  /// Ends all waits for good.
  void stop();

 private:
  struct Login {
    LoginSession session;
    IssuedTokens tokens;
  };
  IssuedTokens issue(Platform platform, const std::string& openId);
  std::string newAccessToken(Platform platform, const std::string& openId,
                             std::chrono::system_clock::time_point expiry);
  /// What nobody is asked about is decided here.
  void decideByItself(Login& login);
  bool decideLocked(Login& login, bool allowed, const std::string& openId);
  Login newLogin(Platform platform, const std::string& url, std::vector<std::string> scopes,
                 const std::string& pageUrl);
  [[nodiscard]] const User* find(const std::string& openId) const;
  Login* findLogin(const std::string& id);
  void add(const std::string& token, TokenState state);
  void end(const std::string& token, TokenState& state);
  void expireNow(const std::string& token, TokenState& state);
  void keep(const std::string& token);
  void endMediaTokens(std::optional<Platform> platform, const std::string& openId);
  std::vector<StateRow> takeUsers();
  std::vector<StateRow> takeTokens();
  void putBack(std::set<std::string>& unsaved, const std::vector<StateRow>& rows);
  bool mergeUser(const StateRow& row);
  bool mergeToken(const StateRow& row);

  const std::chrono::seconds accountTokenLifetime_;
  const std::size_t tokenLength_;
  const bool rotateRefreshTokens_;
  const bool isKept_;  ///< there is a state folder
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::chrono::seconds tokenLifetime_;
  Consent consent_;
  unsigned pollsBeforeConsent_;
  std::vector<User> users_;
  std::string chosen_;
  std::vector<Login> logins_;
  std::map<std::string, TokenState> tokens_;
  const std::chrono::system_clock::time_point mediaEnd_;  ///< of all media tokens that did not end before
  std::set<std::pair<Platform, std::string>> endedMedia_;
  std::set<std::string> unsavedUsers_;
  std::set<std::string> unsavedTokens_;
  bool stopping_ = false;
};

}  // namespace sandbox
