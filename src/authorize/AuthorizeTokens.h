#pragma once

#include "authorize/AccessTokenProxy.h"
#include "authorize/ManagerState.h"
#include "authorize/TokenRenewals.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace KBL {

class BsExternlMediaAuthRequest;

/// Life of the users' platform tokens: background refresh, and verification of a cached login. Any thread;
/// the refreshers stand in a snapshot of their own.
class AuthorizeTokens {
 public:
  explicit AuthorizeTokens(ManagerState& state);

  /// Starts a refresh: 0 when it was started, else 1.
  [[nodiscard]] int refresh(const std::string& uuid);
  [[nodiscard]] _Result verify(const std::string& uuid);
  /// The end of a request of a refresh, or of a verification.
  void processRefresh(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error);
  void processVerification(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error);
  /// A renewal went without an answer: the next try in two minutes, and a failure to those who wait.
  void renewalUnanswered(const std::string& uuid, const std::vector<Verification>& verifications);

  /// Arms the user's refresher behind what an answer says. Never throws, so that the host gets its answer
  /// whatever becomes of the refresher.
  int schedule(const std::string& uuid, IBsInfoReader* info, bool succeeded);
  /// Ends the user's refresher for good. Sleeps as long as a running refresh is waited for.
  void stop(const std::string& uuid);
  void stopAll();

 private:
  friend struct AuthorizeTestAccess;

  using Proxies = std::map<std::string, std::shared_ptr<AccessTokenProxy>>;

  [[nodiscard]] _Result startChain(const std::string& uuid, BsBaseInfoRW& info,
                                   const std::shared_ptr<TokenRenewal>& renewal);
  void useNewestRefreshToken(const std::string& uuid, BsBaseInfoRW& info) const;
  /// After a renewal that failed: the next try in two minutes. False where the user has no refresh token to
  /// try with.
  bool scheduleRetry(const std::string& uuid, IBsInfoReader* info);
  /// The same for one that brought no token, with a line.
  void retryWithoutResult(const std::string& uuid, IBsInfoReader* info);
  /// The user's refresher, or null.
  [[nodiscard]] std::shared_ptr<AccessTokenProxy> standingProxy(const std::string& uuid) const;
  /// The user's refresher, made where none stands; null for a user who has signed out.
  [[nodiscard]] std::shared_ptr<AccessTokenProxy> proxyFor(const std::string& uuid);
  /// Arms the user's refresher after the last answer of a renewal. Never throws.
  void scheduleAfterAnswer(const std::string& uuid, IBsInfoReader* info, IBsErrorInfo* error);
  /// Answers the verifications with the renewal that they waited for.
  void answerVerifications(const std::vector<Verification>& verifications, const std::string& uuid,
                           IBsBaseRequest* request, IBsErrorInfo* error);
  /// The request of an answer that no request of a renewal brought, with its error. Memory that is short is
  /// waited for, a second at most; then null.
  [[nodiscard]] RefPtr<BsExternlMediaAuthRequest> makeFailedRequest(const std::string& uuid) const;
  /// Answers the verifications with a failure, for a renewal that brought no answer.
  void failVerifications(const std::vector<Verification>& verifications, const std::string& uuid);

  ManagerState& state_;
  Snapshot<Proxies> proxies_;
  const std::shared_ptr<TokenRenewals> renewals_;
};

}  // namespace KBL
