#include "sandbox/state/AccountBook.h"

#include "sandbox/base/Text.h"

#include <algorithm>
#include <iterator>

namespace sandbox {

namespace {

using Clock = std::chrono::system_clock;

std::vector<User> madeUpUsers() {
  return {{"107000000000000000001", "ada.quill@example.com", "Ada Quill", "Ada", "Quill", "en"},
          {"107000000000000000002", "bruno.marsh@example.com", "Bruno Marsh", "Bruno", "Marsh", "de"},
          {"107000000000000000003", "mei.lin@example.com", "Mei Lin \xE6\x9E\x97\xE7\xBE\x8E", "Mei", "Lin",
           "zh"}};
}

bool isLive(const TokenState& state) {
  return !state.revoked && Clock::now() < state.expiry;
}

}  // namespace

AccountBook::AccountBook(const SandboxOptions& options)
    : accountTokenLifetime_(options.accountTokenLifetime),
      tokenLength_(options.tokenLength),
      rotateRefreshTokens_(options.rotateRefreshTokens),
      isKept_(!options.stateDir.empty()),
      tokenLifetime_(options.tokenLifetime),
      consent_(options.consent),
      pollsBeforeConsent_(options.pollsBeforeConsent),
      users_(madeUpUsers()),
      chosen_(users_.front().openId),
      mediaEnd_(options.mediaTokenLifetime.count() > 0 ? Clock::now() + options.mediaTokenLifetime
                                                       : Clock::time_point::max()) {}

std::vector<User> AccountBook::users() const {
  const std::lock_guard lock(mutex_);
  return users_;
}

std::optional<User> AccountBook::user(const std::string& openId) const {
  const std::lock_guard lock(mutex_);
  const User* const found = find(openId);
  return found ? std::optional(*found) : std::nullopt;
}

void AccountBook::addUser(const User& user) {
  const std::lock_guard lock(mutex_);
  std::erase_if(users_, [&](const User& known) { return known.openId == user.openId; });
  users_.push_back(user);
  if (isKept_) unsavedUsers_.insert(user.openId);
}

bool AccountBook::chooseUser(const std::string& openId) {
  const std::lock_guard lock(mutex_);
  if (!find(openId)) return false;
  chosen_ = openId;
  return true;
}

User AccountBook::chosenUser() const {
  const std::lock_guard lock(mutex_);
  return *find(chosen_);
}

void AccountBook::setConsent(Consent consent) {
  const std::lock_guard lock(mutex_);
  consent_ = consent;
}

Consent AccountBook::consent() const {
  const std::lock_guard lock(mutex_);
  return consent_;
}

void AccountBook::setPollsBeforeConsent(unsigned polls) {
  const std::lock_guard lock(mutex_);
  pollsBeforeConsent_ = polls;
}

LoginSession AccountBook::openSession(Platform platform, const std::string& url,
                                      std::vector<std::string> scopes, const std::string& pageUrl) {
  const std::lock_guard lock(mutex_);
  logins_.push_back(newLogin(platform, url, std::move(scopes), pageUrl));
  changed_.notify_all();
  return logins_.back().session;
}

LoginSession AccountBook::openRedirectSession(Platform platform, const std::string& redirectUri,
                                              std::vector<std::string> scopes, const std::string& pageUrl) {
  const std::lock_guard lock(mutex_);
  Login login = newLogin(platform, redirectUri, std::move(scopes), pageUrl);
  login.session.byRedirect = true;
  decideByItself(login);
  logins_.push_back(login);
  changed_.notify_all();
  return login.session;
}

AccountBook::Login AccountBook::newLogin(Platform platform, const std::string& url,
                                         std::vector<std::string> scopes, const std::string& pageUrl) {
  Login login;
  login.session.id = randomText(24);
  login.session.platform = platform;
  login.session.url = url;
  login.session.scopes = std::move(scopes);
  login.session.openUrl = pageUrl + login.session.id;
  return login;
}

std::optional<LoginSession> AccountBook::session(const std::string& id) const {
  const std::lock_guard lock(mutex_);
  for (const Login& login : logins_) {
    if (login.session.id == id) return login.session;
  }
  return std::nullopt;
}

std::vector<LoginSession> AccountBook::sessions() const {
  const std::lock_guard lock(mutex_);
  std::vector<LoginSession> sessions;
  for (const Login& login : logins_) sessions.push_back(login.session);
  return sessions;
}

std::optional<AccountBook::Poll> AccountBook::poll(const std::string& sessionId) {
  const std::lock_guard lock(mutex_);
  Login* const login = findLogin(sessionId);
  if (!login) return std::nullopt;
  LoginSession& session = login->session;
  ++session.polls;
  if (session.decision == Decision::pending && session.polls > pollsBeforeConsent_) decideByItself(*login);
  return Poll{session, login->tokens};
}

bool AccountBook::decide(const std::string& sessionId, bool allowed, const std::string& openId) {
  const std::lock_guard lock(mutex_);
  Login* const login = findLogin(sessionId);
  if (!login || login->session.decision != Decision::pending) return false;
  return decideLocked(*login, allowed, openId.empty() ? chosen_ : openId);
}

std::optional<std::string> AccountBook::waitForPending(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  const auto pending = [&] {
    return std::find_if(logins_.begin(), logins_.end(),
                        [](const Login& login) { return login.session.decision == Decision::pending; });
  };
  changed_.wait_for(lock, limit, [&] { return stopping_ || pending() != logins_.end(); });
  return pending() == logins_.end() ? std::nullopt : std::optional(pending()->session.id);
}

std::string AccountBook::issueAccountToken() {
  const std::lock_guard lock(mutex_);
  std::string token = "sbx-account-" + randomText(32);
  add(token, {TokenKind::account, Platform::youtube, {}, Clock::now() + accountTokenLifetime_, false});
  return token;
}

IssuedTokens AccountBook::issueTokens(Platform platform, const std::string& openId) {
  const std::lock_guard lock(mutex_);
  return issue(platform, openId.empty() ? chosen_ : openId);
}

std::string AccountBook::issueAccessToken(Platform platform, const std::string& openId,
                                          std::optional<std::chrono::seconds> lifetime) {
  const std::lock_guard lock(mutex_);
  return newAccessToken(platform, openId, lifetime ? Clock::now() + *lifetime : Clock::time_point::max());
}

std::optional<IssuedTokens> AccountBook::renew(const std::string& refreshToken) {
  const std::lock_guard lock(mutex_);
  const auto found = tokens_.find(refreshToken);
  if (found == tokens_.end() || found->second.kind != TokenKind::refresh || !isLive(found->second))
    return std::nullopt;
  // A copy: issuing changes the map.
  const TokenState known = found->second;
  return IssuedTokens{newAccessToken(known.platform, known.openId, Clock::now() + tokenLifetime_),
                      refreshToken, tokenLifetime_};
}

std::optional<IssuedTokens> AccountBook::refresh(const std::string& refreshToken) {
  const std::lock_guard lock(mutex_);
  const auto found = tokens_.find(refreshToken);
  if (found == tokens_.end() || found->second.kind != TokenKind::refresh || !isLive(found->second))
    return std::nullopt;
  if (rotateRefreshTokens_) end(found->first, found->second);
  // A copy: issuing changes the map.
  const TokenState spent = found->second;
  IssuedTokens tokens = issue(spent.platform, spent.openId);
  if (rotateRefreshTokens_) return tokens;
  tokens_.erase(tokens.refreshToken);
  tokens.refreshToken = refreshToken;
  return tokens;
}

void AccountBook::setTokenLifetime(std::chrono::seconds lifetime) {
  const std::lock_guard lock(mutex_);
  tokenLifetime_ = lifetime;
}

void AccountBook::expire(TokenKind kind, const std::string& openId) {
  const std::lock_guard lock(mutex_);
  for (auto& [text, state] : tokens_) {
    if (state.kind != kind || (!openId.empty() && state.openId != openId)) continue;
    expireNow(text, state);
  }
  if (kind == TokenKind::access) endMediaTokens({}, openId);
}

void AccountBook::revoke(const std::string& openId) {
  const std::lock_guard lock(mutex_);
  for (auto& [text, state] : tokens_) {
    if (state.kind != TokenKind::account && (openId.empty() || state.openId == openId)) end(text, state);
  }
  endMediaTokens({}, openId);
}

void AccountBook::revokeToken(const std::string& text) {
  const std::lock_guard lock(mutex_);
  const auto found = tokens_.find(text);
  if (found != tokens_.end()) end(found->first, found->second);
}

void AccountBook::revokeAt(Platform platform, const std::string& openId) {
  const std::lock_guard lock(mutex_);
  for (auto& [text, state] : tokens_) {
    const bool theirs = state.platform == platform && state.openId == openId;
    if (state.kind != TokenKind::account && theirs) end(text, state);
  }
  endMediaTokens(platform, openId);
}

void AccountBook::expireAt(Platform platform, const std::string& openId) {
  const std::lock_guard lock(mutex_);
  for (auto& [text, state] : tokens_) {
    const bool theirs = state.platform == platform && state.openId == openId;
    if (state.kind == TokenKind::access && theirs) expireNow(text, state);
  }
  endMediaTokens(platform, openId);
}

bool AccountBook::isMediaTokenGood(Platform platform, const std::string& openId) const {
  const std::lock_guard lock(mutex_);
  return Clock::now() < mediaEnd_ && !endedMedia_.contains({platform, openId});
}

/// An empty open id stands for all users, no platform for all of them.
void AccountBook::endMediaTokens(std::optional<Platform> platform, const std::string& openId) {
  for (const User& user : users_) {
    if (!openId.empty() && user.openId != openId) continue;
    for (const Platform place : {Platform::facebook, Platform::flickr, Platform::instagram}) {
      if (!platform || *platform == place) endedMedia_.insert({place, user.openId});
    }
  }
}

std::vector<std::pair<std::string, TokenState>> AccountBook::liveTokens() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::pair<std::string, TokenState>> live;
  std::copy_if(tokens_.begin(), tokens_.end(), std::back_inserter(live),
               [](const auto& token) { return isLive(token.second); });
  return live;
}

std::optional<TokenState> AccountBook::token(const std::string& text) const {
  const std::lock_guard lock(mutex_);
  const auto found = tokens_.find(text);
  return found == tokens_.end() ? std::nullopt : std::optional(found->second);
}

bool AccountBook::isGoodAccountToken(const std::string& text) const {
  const std::optional<TokenState> state = token(text);
  return state && state->kind == TokenKind::account && isLive(*state);
}

std::optional<User> AccountBook::userOf(const std::string& accessToken, Platform platform) const {
  const std::optional<TokenState> state = token(accessToken);
  if (!state || state->kind != TokenKind::access || state->platform != platform || !isLive(*state))
    return std::nullopt;
  return user(state->openId);
}

void AccountBook::stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
}

IssuedTokens AccountBook::issue(Platform platform, const std::string& openId) {
  IssuedTokens tokens{newAccessToken(platform, openId, Clock::now() + tokenLifetime_),
                      "sbx-refresh-" + randomText(40), tokenLifetime_};
  add(tokens.refreshToken, {TokenKind::refresh, platform, openId, Clock::time_point::max(), false});
  return tokens;
}

std::string AccountBook::newAccessToken(Platform platform, const std::string& openId,
                                        Clock::time_point expiry) {
  std::string token = "sbx-access-" + randomText(40);
  if (token.size() < tokenLength_) token.resize(tokenLength_, 'x');
  add(token, {TokenKind::access, platform, openId, expiry, false});
  return token;
}

void AccountBook::add(const std::string& token, TokenState state) {
  tokens_[token] = std::move(state);
  keep(token);
}

void AccountBook::end(const std::string& token, TokenState& state) {
  if (state.revoked) return;
  state.revoked = true;
  // What had no end has one now, and is forgotten like the others.
  state.expiry = std::min(state.expiry, Clock::now());
  keep(token);
}

void AccountBook::expireNow(const std::string& token, TokenState& state) {
  if (state.expiry <= Clock::now()) return;
  state.expiry = Clock::now();
  keep(token);
}

void AccountBook::keep(const std::string& token) {
  if (isKept_) unsavedTokens_.insert(token);
}

void AccountBook::decideByItself(Login& login) {
  const bool decides = consent_ == Consent::automatic || consent_ == Consent::deny;
  if (decides) decideLocked(login, consent_ == Consent::automatic, chosen_);
}

bool AccountBook::decideLocked(Login& login, bool allowed, const std::string& openId) {
  if (!allowed) {
    login.session.decision = Decision::denied;
    return true;
  }
  if (!find(openId)) return false;
  login.session.decision = Decision::allowed;
  login.session.openId = openId;
  if (!login.session.byRedirect) login.tokens = issue(login.session.platform, openId);
  return true;
}

const User* AccountBook::find(const std::string& openId) const {
  const auto found =
      std::find_if(users_.begin(), users_.end(), [&](const User& user) { return user.openId == openId; });
  return found == users_.end() ? nullptr : &*found;
}

AccountBook::Login* AccountBook::findLogin(const std::string& id) {
  const auto found = std::find_if(logins_.begin(), logins_.end(),
                                  [&](const Login& login) { return login.session.id == id; });
  return found == logins_.end() ? nullptr : &*found;
}

}  // namespace sandbox
