#pragma once

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "authorize/switchboard/SwitchboardInterfaces.h"
#include <KblUtils/RefCnt.h>
#include <KblUtils/RefPtr.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// One call that a manager got.
struct ManagerCall {
  std::string operation{};
  std::string uuid{};
  std::string text{};         ///< address of the two URL notifications
  std::string requestName{};  ///< of the operations with a request
  int infoType = -1;          ///< of the operations with an info
  int code = 0;               ///< of the operations with an error
  std::string message{};
  std::map<std::string, std::string> texts{};  ///< of updateInfo: what the info held
  std::map<std::string, long long> numbers{};
};

/// A manager that remembers what it was asked and answers what a test says, registered in the switchboard for
/// its own life.
class FakeManager final : public KBL::RefCnt<KBL::CountedTag>,
                          public virtual KBL::IBsExternlMediaAuthorize,
                          public KBL::IExternlMediaRefreshAccessTokenCallback,
                          public virtual KBL::IBsRequstCallback,
                          public KBL::IExternlMediaUploadFile,
                          public KBL::ISwitchboardManager {
 public:
  struct Upload {
    KBL::RefPtr<KBL::IBsExternlMediaUploadInfo> info;
    KBL::IBsRequstCallback* callback;
    int consume;
  };

  explicit FakeManager(KBL::AuthContext context);

  // What hosts and uploads ask it for; each of one thread at a time.
  std::function<KBL::_Result(const std::string& uuid, KBL::IBsExternlMediaAuthUserInfo* out)> onUserInfo =
      [](const std::string&, KBL::IBsExternlMediaAuthUserInfo*) { return KBL::resultFailed; };
  std::function<std::string()> onAccessToken = [] { return std::string("token-1"); };
  bool canUpload = true;
  KBL::_Result logoutResult = KBL::resultOk;
  std::vector<std::string> logouts;
  std::vector<std::string> userInfos;
  std::vector<Upload> uploads;

  /// As the last Release of a manager does: nobody finds it any more.
  void dropAliveToken() { alive_.reset(); }

  [[nodiscard]] std::vector<ManagerCall> calls() const;
  [[nodiscard]] std::vector<ManagerCall> calls(const std::string& operation) const;
  [[nodiscard]] std::size_t count(const std::string& operation) const { return calls(operation).size(); }
  /// Runs in the thread of every call of that operation, after it was recorded.
  void onCall(const std::string& operation, std::function<void()> action);
  void setFlag(const std::string& operation, bool value);

  // IDmBaseObj
  int Release() override;
  void* QueryInterfaceByName(const char* name) override;
  // ISwitchboardManager
  std::shared_ptr<KBL::ISwitchboardManager> core() override;
  KBL::IBsExternlMediaAuthorize* authorize() override { return this; }
  std::string accessToken(const std::string&) override { return onAccessToken(); }
  void renewalUnanswered(const std::string&, const std::vector<KBL::RefPtr<KBL::BsBaseInfoRW>>&) override {}
  // IExternlMediaUploadFile
  void asyncUploadMediaFile(KBL::IBsExternlMediaUploadInfo* info, KBL::IBsRequstCallback* callback,
                            int consume) override;
  // IBsRequstCallback
  KBL::_Result queryResponse(KBL::IBsBaseRequest* request, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override;
  // IExternlMediaRefreshAccessTokenCallback
  int cbAsyncRefreshAccessToken(const std::string& uuid) override;
  int cbRequestFailed(KBL::IBsBaseRequest*, KBL::IBsInfoReader*, KBL::IBsErrorInfo*) override;
  int cbRequestForward(KBL::IBsBaseRequest*, KBL::IBsInfoReader*, KBL::IBsErrorInfo*) override;
  int cbQueryThirdLoginURL(const std::string& uuid, const std::string& loginUrl) override;
  int cbQueryThirdLoginCallbackURL(const std::string& uuid, const std::string& callbackUrl) override;
  int cbRequestNotify(const std::string& uuid) override;
  int setTimedOut(const std::string& uuid, bool timedOut) override;
  int isTimedOut(const std::string& uuid) override { return flag("isTimedOut", uuid); }
  int setFinished(const std::string& uuid, bool finished) override;
  int copyAuthContext(KBL::AuthContext& out) override;
  int isFinished(const std::string& uuid) override { return flag("isFinished", uuid); }
  int isCanceled(const std::string& uuid) override { return flag("isCanceled", uuid); }
  int updateInfo(const std::string& uuid, KBL::IBsInfoReader* info) override;
  // IBsExternlMediaAuthorize
  KBL::_Result init(const char*, int) override { return KBL::resultOk; }
  KBL::_Result setPubParam(KBL::IBsPubInfo*) override { return KBL::resultOk; }
  KBL::_Result setServerProxy(KBL::IBsServerProxyInfo*) override { return KBL::resultOk; }
  KBL::_Result toExternlMediaAuth(KBL::IBsInfoReader*) override { return KBL::resultOk; }
  KBL::_Result toVerifyAccessToken(const char*) override { return KBL::resultOk; }
  KBL::_Result logout(const char* uuid) override;
  KBL::_Result userInfo(const char* uuid, KBL::IBsExternlMediaAuthUserInfo* out) override;
  KBL::_Result toConsume(KBL::IBsInfoReader*) override { return KBL::resultOk; }
  KBL::_Result cancelLogin() override { return KBL::resultOk; }
  KBL::_Result addAuthCallback(KBL::IExternlMediaAuthCallback*) override { return KBL::resultOk; }
  KBL::_Result removeAuthCallback(KBL::IExternlMediaAuthCallback*) override { return KBL::resultOk; }
  int platform() override { return context_.platform; }
  KBL::_Result getAccessToken(const char*, char*) override { return KBL::resultOk; }

 private:
  void record(const ManagerCall& call);
  int flag(const std::string& operation, const std::string& uuid);
  static ManagerCall requestCall(const std::string& operation, KBL::IBsBaseRequest* request,
                                 KBL::IBsInfoReader* info, KBL::IBsErrorInfo* error);

  const KBL::AuthContext context_;
  std::shared_ptr<char> alive_ = std::make_shared<char>('0');
  mutable std::mutex mutex_;
  std::vector<ManagerCall> calls_;
  std::map<std::string, std::function<void()>> actions_;
  std::map<std::string, bool> flags_;
};

/// A fake manager that stands in the table of managers, too, for the life of this object.
class InstalledManager {
 public:
  explicit InstalledManager(int platform);
  ~InstalledManager();
  InstalledManager(const InstalledManager&) = delete;
  InstalledManager& operator=(const InstalledManager&) = delete;

  /// From now on no worker finds the manager.
  void die();

  FakeManager* operator->() const { return manager_.get(); }
  [[nodiscard]] const std::string& tag() const { return tag_; }

 private:
  const int platform_;
  std::string tag_;
  KBL::RefPtr<FakeManager> manager_;
};
