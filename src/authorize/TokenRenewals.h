#pragma once

#include "authorize/switchboard/RequestFlow.h"
#include <BsNet/BsInfoReader.h>
#include <KblUtils/RefPtr.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace KBL {

class TokenRenewals;

/// A verification whose answer is still owed to the host: its record, of type 402.
using Verification = RefPtr<BsBaseInfoRW>;

/// One renewal of a user's token, shared by the requests of its chain. If the last of them goes without
/// having brought an answer, the manager is told through the switchboard, with the verifications that are
/// owed one.
class TokenRenewal final : public RequestFlow {
 public:
  /// Made by TokenRenewals alone.
  TokenRenewal(std::shared_ptr<TokenRenewals> renewals, std::string uuid, Verification own);
  ~TokenRenewal() override;

  /// Ends the renewal, so that the user's next one may begin; those who waited for its answer. Whoever
  /// started it is answered by its own chain. None when it has ended before. Needs no memory.
  [[nodiscard]] std::vector<Verification> end();

 private:
  friend class TokenRenewals;

  const std::shared_ptr<TokenRenewals> renewals_;
  const std::string uuid_;
  const bool isVerification_;  ///< or else a background refresh
  // What follows is guarded by the mutex of renewals_.
  bool ended_ = true;               ///< until it is entered
  std::vector<Verification> owed_;  ///< first the verification that started it, where one did
};

/// The renewals of a manager's users, at most one a user: a refresh token may be good once, and two renewals
/// at once would spend it twice. Any thread.
class TokenRenewals : public std::enable_shared_from_this<TokenRenewals> {
 public:
  explicit TokenRenewals(std::string ownerTag);

  /// The user's renewal, to be shared by its requests; null while an earlier one runs. `verification` (null
  /// for a background refresh) then waits for the answer of that one.
  [[nodiscard]] std::shared_ptr<TokenRenewal> begin(const std::string& uuid, Verification verification);

 private:
  friend class TokenRenewal;

  /// Those that are owed an answer, its own among them; nothing when it has ended before.
  [[nodiscard]] std::optional<std::vector<Verification>> end(TokenRenewal& renewal);

  const std::string ownerTag_;
  std::mutex mutex_;  // a leaf
  /// A renewal stands here from its beginning to its end, which its destructor makes at the latest.
  std::map<std::string, TokenRenewal*> running_;
};

}  // namespace KBL
