#pragma once

#include "authorize/switchboard/AuthContext.h"
#include <BsNet/IBsRequstCallback.h>
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>
#include <KblUtils/RefPtr.h>

#include <memory>
#include <string>
#include <vector>

namespace KBL {

class BsBaseInfoRW;

// What other rooms see of a manager, and the switchboard of a request; neither class is included there.

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

/// The manager's upload side. Name for QueryInterfaceByName: "IExternlMediaUploadFile".
class IExternlMediaUploadFile {
 public:
  /// Starts the chain of requests of one upload for the user whom `info` (type 406) names. `callback` (null
  /// allowed, not counted) hears of every request of the chain; a nonzero `consume` puts the
  /// usage-entitlement query before the upload. Returns as soon as the first request was started.
  virtual void asyncUploadMediaFile(IBsExternlMediaUploadInfo* info, IBsRequstCallback* callback,
                                    int consume) = 0;

 protected:
  ~IExternlMediaUploadFile() = default;
};

/// What the switchboard needs of a registered manager beyond its public interfaces.
class ISwitchboardManager {
 public:
  /// Keeps the manager for whoever passes through it, and leaves the host's count alone; null where nothing
  /// is left to keep. Called under the lock that the pointer to the manager was found under.
  [[nodiscard]] virtual std::shared_ptr<ISwitchboardManager> core() = 0;
  [[nodiscard]] virtual IBsExternlMediaAuthorize* authorize() = 0;
  /// The platform token of the user, cut to 8192 characters; empty when there is none. Logs like
  /// `getAccessToken`.
  [[nodiscard]] virtual std::string accessToken(const std::string& uuid) = 0;
  /// A renewal of the user's token has ended without any answer; `verifications` are the records of those
  /// that are owed one.
  virtual void renewalUnanswered(const std::string& uuid,
                                 const std::vector<RefPtr<BsBaseInfoRW>>& verifications) = 0;

 protected:
  ~ISwitchboardManager() = default;
};

/// What the switchboard needs of a request: whose it is. Implemented by BsExternlMediaAuthRequest; reached by
/// a run-time cast, inside the library only.
class IOwnedRequest {
 public:
  /// `logTag` of the owning manager; set before the request starts and not changed afterwards.
  [[nodiscard]] virtual const std::string& ownerTag() const = 0;

 protected:
  ~IOwnedRequest() = default;
};

}  // namespace KBL
