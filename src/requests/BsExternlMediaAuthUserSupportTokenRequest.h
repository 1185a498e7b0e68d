#pragma once

#include "requests/AccountRequest.h"

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
  std::string thirdAccessToken_;
  std::string refreshToken_;
  std::int64_t expiresIn_ = 0;         // seconds
  std::int64_t expiresTimestamp_ = 0;  // seconds since the epoch
};

}  // namespace KBL
