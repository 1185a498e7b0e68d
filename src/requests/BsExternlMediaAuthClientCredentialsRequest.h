#pragma once

#include "requests/AccountRequest.h"

namespace KBL {

/// Gets the account server's own access token for the application secret of the public information. The token
/// goes into the info, where the next request of the chain reads it, and into the user's record.
class BsExternlMediaAuthClientCredentialsRequest final : public AccountRequest {
 public:
  BsExternlMediaAuthClientCredentialsRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int handleRequestData(IBsBaseRequest* self, IBsInfoReader* info, IBsErrorInfo* error,
                        NetReply* reply) override;

 protected:
  void clearMembers() override;
  void readData(const Json::Value& data) override;

 private:
  std::string accessToken_;
  std::int64_t expiresIn_ = 0;  // seconds
  std::int32_t tokenType_ = 0;
};

}  // namespace KBL
