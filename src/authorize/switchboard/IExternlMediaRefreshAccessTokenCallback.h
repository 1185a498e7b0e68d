#pragma once

#include "authorize/switchboard/AuthContext.h"
#include "foundation/BsNet/IBsRequstCallback.h"

#include <string>

namespace KBL {

/// How requests and timers talk to their manager. Implemented by the manager, reached through
/// ExternlMediaAuthCallbackProxy only. Called on worker and timer threads. Name for QueryInterfaceByName:
/// "IExternlMediaRefreshAccessTokenCallback".
class IExternlMediaRefreshAccessTokenCallback {
 public:
  /// Starts a refresh: 0 when it was started, else 1.
  virtual int cbAsyncRefreshAccessToken(const std::string& uuid) = 0;
  /// Calls `queryResponse` of every host callback.
  virtual int cbRequestFailed(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) = 0;
  /// Hands over to `cbRequestFailed`.
  virtual int cbRequestForward(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) = 0;
  virtual int cbQueryThirdLoginURL(const std::string& uuid, const std::string& loginUrl) = 0;
  virtual int cbQueryThirdLoginCallbackURL(const std::string& uuid, const std::string& callbackUrl) = 0;
  /// Calls `onRequestFinished` of every host callback; returns 0.
  virtual int cbRequestNotify(const std::string& uuid) = 0;
  // The flags of an existing entry of `sessions`; without one, writing does nothing and reading answers 0.
  virtual int setTimedOut(const std::string& uuid, bool timedOut) = 0;
  virtual int isTimedOut(const std::string& uuid) = 0;
  virtual int setFinished(const std::string& uuid, bool finished) = 0;
  /// Copies the manager's context; returns 1.
  virtual int copyAuthContext(AuthContext& out) = 0;
  virtual int isFinished(const std::string& uuid) = 0;
  virtual int isCanceled(const std::string& uuid) = 0;
  /// Merges what `info` holds into the user's record and saves; the one way in which token data enters the
  /// cache.
  virtual int updateInfo(const std::string& uuid, IBsInfoReader* info) = 0;

 protected:
  ~IExternlMediaRefreshAccessTokenCallback() = default;
};

}  // namespace KBL
