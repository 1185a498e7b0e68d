#include "sandbox/state/OauthGrants.h"

#include "sandbox/base/Text.h"

#include <utility>

namespace sandbox {

std::string withParameters(const std::string& address,
                           const std::vector<std::pair<std::string, std::string>>& parameters) {
  std::string text = address;
  for (const auto& [name, value] : parameters) {
    text += text.find('?') == std::string::npos ? '?' : '&';
    text += percentEncoded(name) + "=" + percentEncoded(value);
  }
  return text;
}

void OauthGrants::expect(const std::string& sessionId, LoginRequest request) {
  const std::lock_guard lock(mutex_);
  pending_[sessionId] = {std::move(request), {}};
}

std::optional<std::string> OauthGrants::address(const LoginSession& session) {
  const std::lock_guard lock(mutex_);
  const auto found = pending_.find(session.id);
  if (found == pending_.end() || session.decision == Decision::pending) return std::nullopt;
  Pending& pending = found->second;
  if (pending.address.empty()) {
    pending.address = session.decision == Decision::allowed ? consentAddress(pending.request, session.openId)
                                                            : refusalAddress(pending.request);
  }
  return pending.address;
}

std::optional<Grant> OauthGrants::spend(const std::string& code) {
  const std::lock_guard lock(mutex_);
  const auto found = codes_.find(code);
  if (found == codes_.end()) return std::nullopt;
  const Issued issued = std::move(found->second);
  codes_.erase(found);
  return std::chrono::steady_clock::now() < issued.end ? std::optional(issued.grant) : std::nullopt;
}

std::string OauthGrants::refusalAddress(const LoginRequest& request) const {
  if (!request.requestToken.empty()) {
    return withParameters(request.redirectUri, {{"denied", request.requestToken}});
  }
  return withParameters(request.redirectUri, {{"error", "access_denied"},
                                              {"error_description", "The user denied the request"},
                                              {"state", request.state}});
}

std::string OauthGrants::consentAddress(const LoginRequest& request, const std::string& openId) {
  const std::string code = randomText(32);
  codes_[code] = {{request, openId}, std::chrono::steady_clock::now() + codeLifetime};
  if (!request.requestToken.empty()) {
    return withParameters(request.redirectUri,
                          {{"oauth_token", request.requestToken}, {"oauth_verifier", code}});
  }
  return withParameters(request.redirectUri, {{"code", code}, {"state", request.state}});
}

}  // namespace sandbox
