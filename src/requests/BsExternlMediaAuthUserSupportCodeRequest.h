#pragma once

#include "requests/AccountRequest.h"
#include "requests/PlatformTokens.h"

namespace KBL {

/// State of a login session, as the code endpoint tells it.
enum LoginStatus : int { loginPending = 0, loginDone = 1, loginCanceledOrFailed = 2 };

/// Asks whether a login session has ended; once it has, the answer holds the platform's tokens.
class BsExternlMediaAuthUserSupportCodeRequest final : public AccountRequest {
 public:
  BsExternlMediaAuthUserSupportCodeRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int handleRequestData(IBsBaseRequest* self, IBsInfoReader* info, IBsErrorInfo* error,
                        NetReply* reply) override;

  /// A value of LoginStatus, or whatever else the server said.
  [[nodiscard]] int status() const { return status_; }

 protected:
  void clearMembers() override;
  void readData(const Json::Value& data) override;

 private:
  std::string code_;
  std::string callbackUrl_;
  PlatformTokens tokens_;
  std::string openId_;
  bool hasOpenId_ = false;
  std::int32_t status_ = loginPending;
};

}  // namespace KBL
