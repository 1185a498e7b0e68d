#pragma once

#include "authorize/AccessTokenProxy.h"
#include "authorize/switchboard/AuthContext.h"
#include "authorize/switchboard/IBsExternlMediaAuthorize.h"
#include "authorize/switchboard/IExternlMediaRefreshAccessTokenCallback.h"
#include "authorize/switchboard/IExternlMediaUploadFile.h"
#include "authorize/switchboard/ISwitchboardManager.h"
#include "foundation/object/RefCnt.h"
#include "foundation/object/Snapshot.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace KBL {

class BsExternlMediaAuthRequest;

/// The manager of one platform. Born with a count of 0 by `getOrCreateExternlMediaAuthorize`.
///
/// The flows stand in files of their own: AuthorizeLogin.cpp (login and its end), AuthorizeTokens.cpp
/// (refresh and verification), AuthorizeCache.cpp (records and their file), AuthorizeUsers.cpp (logout, user,
/// consume query), AuthorizeUploads.cpp.
///
/// Shared state: `context_` and `tokenProxies_` are snapshots; a flow reads the one that stands and waits for
/// nobody. `stateMutex_` serialises saves, which always write the newest snapshot, so that no save brings
/// back a user who has gone. No lock is held while a host callback runs. A host may release its last
/// reference from within a callback: whoever calls the host holds a reference of its own meanwhile.
class BsExternlMediaAuthorize final : public RefCnt<CountedTag>,
                                      public virtual IBsExternlMediaAuthorize,
                                      public virtual IExternlMediaRefreshAccessTokenCallback,
                                      public virtual IBsRequstCallback,
                                      public virtual IExternlMediaUploadFile,
                                      public ISwitchboardManager {
 public:
  BsExternlMediaAuthorize(std::int32_t platform, int instanceNumber);
  ~BsExternlMediaAuthorize() override;

  // Object convention.
  int Release() override;
  void* QueryInterfaceByName(const char* name) override;

  // Switchboard's side.
  [[nodiscard]] bool addReferenceUnlessZero() override { return RefCnt::addReferenceUnlessZero(); }
  [[nodiscard]] IBsExternlMediaAuthorize* authorize() override { return this; }
  [[nodiscard]] std::string accessToken(const std::string& uuid) override;

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
  int platform() override { return platform_; }
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

  using TokenProxies = std::map<std::string, std::shared_ptr<AccessTokenProxy>>;
  using Self = RefPtr<IBsExternlMediaAuthorize>;

  void beforeDestroy();
  void clearAuthCallbacks();
  /// A reference for the length of an operation that calls the host on the host's own thread.
  [[nodiscard]] Self holdSelf() { return shareRef<IBsExternlMediaAuthorize>(this); }
  [[nodiscard]] bool alive() const { return !aliveWitness_.expired(); }
  [[nodiscard]] std::shared_ptr<const AuthContext> context() const { return context_.read(); }

  using SessionFlag = bool SessionFlags::*;
  /// Writes the flag of an existing entry of `sessions`.
  void setSessionFlag(const std::string& uuid, SessionFlag flag, bool value);
  /// Reads it; no entry reads false.
  [[nodiscard]] bool sessionFlag(const std::string& uuid, SessionFlag flag) const;
  /// Calls every host callback in the order of their registration, without a lock.
  void tellAuthCallbacks(const std::function<void(IExternlMediaAuthCallback&)>& tell) const;
  /// The end of a login or a refresh: a failure goes to the host callbacks, a cancellation does not; `always`
  /// sends a success, too.
  void reportUnlessCanceled(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error, bool always);

  // Login.
  [[nodiscard]] std::string chooseLoginUuid(const char* wantedUuid);
  void processLoginAuthRequest(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error);

  // Tokens.
  [[nodiscard]] _Result startRefreshChain(const std::string& uuid, IBsInfoReader* info) const;
  int scheduleTokenRefresh(const std::string& uuid, IBsInfoReader* info, bool succeeded);
  [[nodiscard]] std::shared_ptr<AccessTokenProxy> tokenProxyFor(const std::string& uuid);
  /// What the answers of a refresh and of a verification share; true when it was the token request's.
  bool scheduleAfterTokenAnswer(BsExternlMediaAuthRequest& request, IBsInfoReader* info, IBsErrorInfo* error);
  void processRefreshTokenRequest(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error);
  void processVerifyAccessToken(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error);
  /// Tells the host of a failure that was found before any network use, in the shape of a server's answer.
  void reportAuthError(const std::string& uuid, int infoType, int code, const std::string& message);

  // Cache.
  [[nodiscard]] ExternlMediaCacheInfo initCacheInfo() const;
  void dealInvalidCacheData();
  /// Writes the newest list. The caller holds `stateMutex_`.
  [[nodiscard]] bool saveNewestLocked() const;
  void cbExternlMediaAccessTokenChanged(const std::string& uuid, const std::string& oldToken,
                                        const std::string& newToken);

  // Users.
  /// Takes the user (empty: the last one) out of the list; the uuid of who has gone, or empty.
  [[nodiscard]] std::string removeUser(const std::string& wanted);
  void stopTokenProxy(const std::string& uuid);
  void processUserSupportQueryConsume(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error);

  const std::int32_t platform_;
  const std::string logTag_;
  std::shared_ptr<char> aliveToken_;  ///< proof of life; written by the constructor and the end alone
  const std::weak_ptr<char> aliveWitness_;
  std::mutex stateMutex_;  ///< held across a change of the records and its save
  Snapshot<AuthContext> context_;
  std::mutex liveRequestsMutex_;                                 // a leaf: held for an edit of the list alone
  std::vector<RefPtr<BsExternlMediaAuthRequest>> liveRequests_;  ///< session requests of running logins
  Snapshot<TokenProxies> tokenProxies_;
};

}  // namespace KBL
