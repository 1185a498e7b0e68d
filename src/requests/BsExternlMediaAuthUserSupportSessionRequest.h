#pragma once

#include "requests/AccountRequests.h"
#include "requests/ExternlMediaAuthThirdPollingProxy.h"

#include <memory>

namespace KBL {

/// Opens a login session at the account server, hands the address for the browser to the host, and then polls
/// until the person has finished there.
class BsExternlMediaAuthUserSupportSessionRequest final : public AccountRequest {
 public:
  BsExternlMediaAuthUserSupportSessionRequest();
  ~BsExternlMediaAuthUserSupportSessionRequest() override;

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int handleRequestData(IBsBaseRequest* self, IBsInfoReader* info, IBsErrorInfo* error,
                        NetReply* reply) override;

  /// One tick of the polling: asks the code endpoint once, and on success fetches the profile. Runs on the
  /// timer's thread and blocks it.
  void codePolling(IBsInfoReader* info);
  /// 1 when the polling has ended, which it then has been told already; 0 to go on. `codeRequest` and
  /// `errorInfo` may be null.
  int isPollingFinished(BsExternlMediaAuthRequest* codeRequest, IBsInfoReader* info, IBsErrorInfo* errorInfo);
  /// 1 when the polling must end for a failure of the code endpoint, which the host has then been told.
  int processUserSupportCodeRequest(BsExternlMediaAuthRequest* codeRequest, IBsInfoReader* info,
                                    IBsErrorInfo* errorInfo);

  [[nodiscard]] ExternlMediaAuthThirdPollingProxy& pollingProxy() { return *pollingProxy_; }

 protected:
  void clearMembers() override;
  void readData(const Json::Value& data) override;

 private:
  void takeOverResults(const BsExternlMediaAuthRequest& other);
  [[nodiscard]] bool fetchProfile(const AuthContext& context, BsExternlMediaAuthRequest& codeRequest,
                                  IBsInfoReader* info);
  void actOnStatus(IBsInfoReader* info);

  std::string openUrl_;
  std::string sessionId_;
  std::shared_ptr<ExternlMediaAuthThirdPollingProxy> pollingProxy_;
};

}  // namespace KBL
