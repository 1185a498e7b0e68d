#pragma once

#include "authorize/AuthorizeCache.h"
#include "authorize/AuthorizeTokens.h"
#include "authorize/ManagerState.h"
#include <KblUtils/RefPtr.h>

#include <mutex>
#include <string>
#include <vector>

namespace KBL {

class BsExternlMediaAuthRequest;

/// Logins in a browser: their start, their outcome, their end by the host. Any thread.
class AuthorizeLogin {
 public:
  AuthorizeLogin(ManagerState& state, AuthorizeCache& cache, AuthorizeTokens& tokens);
  ~AuthorizeLogin();

  [[nodiscard]] _Result start(IBsInfoReader* loginInfo);
  /// The end of a login's request.
  void processAnswer(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error);
  void tellLoginUrl(const std::string& uuid, const std::string& loginUrl);
  void tellCallbackUrl(const std::string& uuid, const std::string& callbackUrl);

  /// Marks the logins of all users as canceled and ends them. Never throws.
  _Result cancel();
  /// Ends the logins of this user (empty: of all users). Once it has returned, no callback begins for them.
  void cancelLoginsOf(const std::string& uuid);

 private:
  friend struct AuthorizeTestAccess;

  [[nodiscard]] std::string chooseUuid(const char* wantedUuid);
  [[nodiscard]] RefPtr<BsExternlMediaAuthRequest> takeLoginOf(const std::string& uuid);

  ManagerState& state_;
  AuthorizeCache& cache_;
  AuthorizeTokens& tokens_;
  std::mutex liveRequestsMutex_;  // a leaf: held for an edit of the list alone
  /// Session requests of logins. One whose login has ended stays, without its polling, until `cancel`, a
  /// logout or the manager's end.
  std::vector<RefPtr<BsExternlMediaAuthRequest>> liveRequests_;
};

}  // namespace KBL
