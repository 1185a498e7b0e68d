#pragma once

#include "authorize/AuthorizeCache.h"
#include "authorize/AuthorizeLogin.h"
#include "authorize/AuthorizeTokens.h"
#include "authorize/AuthorizeUsers.h"
#include "authorize/ManagerState.h"
#include "authorize/switchboard/SwitchboardInterfaces.h"
#include "foundation/object/HostCounted.h"
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>

#include <memory>
#include <string>
#include <vector>

namespace KBL {

/// The manager of one platform, made by `getOrCreateExternlMediaAuthorize`.
///
/// What it does stands in its parts, over one shared state: AuthorizeLogin, AuthorizeTokens, AuthorizeUsers,
/// AuthorizeCache. Here is who asks for it: the host, requests and timers through the switchboard, and the
/// end. No lock is held while host code runs. A host may release its last reference from
/// within a callback: whoever calls the host holds the core meanwhile.
class BsExternlMediaAuthorize final : public HostCounted<BsExternlMediaAuthorize>,
                                      public virtual IBsExternlMediaAuthorize,
                                      public virtual IExternlMediaRefreshAccessTokenCallback,
                                      public virtual IBsRequstCallback,
                                      public virtual IExternlMediaUploadFile,
                                      public ISwitchboardManager {
 public:
  BsExternlMediaAuthorize(std::int32_t platform, int instanceNumber);
  ~BsExternlMediaAuthorize() override;

  // Object convention.
  void* QueryInterfaceByName(const char* name) override;

  // Switchboard's side.
  [[nodiscard]] std::shared_ptr<ISwitchboardManager> core() override { return weak_from_this().lock(); }
  [[nodiscard]] IBsExternlMediaAuthorize* authorize() override { return this; }
  [[nodiscard]] std::string accessToken(const std::string& uuid) override;
  void renewalUnanswered(const std::string& uuid, const std::vector<Verification>& verifications) override;

  // Host's side.
  _Result init(const char* cacheDir, int refreshIntervalMs) override;
  _Result setPubParam(IBsPubInfo* info) override;
  _Result setServerProxy(IBsServerProxyInfo* info) override;
  _Result toExternlMediaAuth(IBsInfoReader* loginInfo) override;
  _Result toVerifyAccessToken(const char* uuid) override;
  _Result logout(const char* uuid) override;
  _Result userInfo(const char* uuid, IBsExternlMediaAuthUserInfo* out) override;
  _Result toConsume(IBsInfoReader* consumeInfo) override;
  _Result cancelLogin() override;
  _Result addAuthCallback(IExternlMediaAuthCallback* callback) override;
  _Result removeAuthCallback(IExternlMediaAuthCallback* callback) override;
  int platform() override { return state_.platform; }
  _Result getAccessToken(const char* uuid, char* buffer) override;

  // Workers' side.
  int cbAsyncRefreshAccessToken(const std::string& uuid) override;
  int cbRequestFailed(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) override;
  int cbRequestForward(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) override;
  int cbQueryThirdLoginURL(const std::string& uuid, const std::string& loginUrl) override;
  int cbQueryThirdLoginCallbackURL(const std::string& uuid, const std::string& callbackUrl) override;
  int cbRequestNotify(const std::string& uuid) override;
  int setTimedOut(const std::string& uuid, bool timedOut) override;
  int isTimedOut(const std::string& uuid) override;
  int setFinished(const std::string& uuid, bool finished) override;
  int copyAuthContext(AuthContext& out) override;
  int isFinished(const std::string& uuid) override;
  int isCanceled(const std::string& uuid) override;
  int updateInfo(const std::string& uuid, IBsInfoReader* info) override;
  _Result queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) override;
  void asyncUploadMediaFile(IBsExternlMediaUploadInfo* info, IBsRequstCallback* callback,
                            int consume) override;

 private:
  friend struct AuthorizeTestAccess;

  using Self = std::shared_ptr<BsExternlMediaAuthorize>;

  // The end: the entry of the table goes with the last reference, in one step.
  int dropHostReference() override;
  void fallSilent() override { beforeDestroy(); }
  void windUp() override;
  void logThrown(const char* what) override { state_.callbacks.logThrown(what); }
  void beforeDestroy();
  /// The core for the length of an operation that calls the host on the host's own thread.
  [[nodiscard]] Self holdSelf() { return shared_from_this(); }

  ManagerState state_;
  AuthorizeCache cache_;
  AuthorizeLogin login_;
  AuthorizeTokens tokens_;  // behind the logins: the refreshers go before the live requests
  AuthorizeUsers users_;
};

}  // namespace KBL
