#pragma once

#include "requests/AccountRequest.h"
#include "requests/PlatformTokens.h"

namespace KBL {

/// Trades a refresh token for new platform tokens.
class BsExternlMediaAuthUserSupportTokenRequest final : public AccountRequest {
 public:
  BsExternlMediaAuthUserSupportTokenRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int handleRequestData(IBsBaseRequest* self, IBsInfoReader* info, IBsErrorInfo* error,
                        NetReply* reply) override;

 protected:
  void clearMembers() override;
  void readData(const Json::Value& data) override;

 private:
  PlatformTokens tokens_;
};

}  // namespace KBL
