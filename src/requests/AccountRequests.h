#pragma once

#include "requests/ConcreteAuthRequest.h"

#include <json/forwards.h>

#include <cstdint>
#include <string>

namespace KBL {

class BsBaseInfoRW;

/// What the requests to the account server that read "data" share.
class AccountRequest : public ConcreteAuthRequest {
 public:
  using ConcreteAuthRequest::ConcreteAuthRequest;

 protected:
  bool readReply(const Json::Value& root, const std::string& content, IBsErrorInfo& error,
                 const NetReply* reply) final;
  /// Fills the members out of the member "data" of the envelope; null when the reply has none.
  virtual void readData(const Json::Value& data) = 0;

  /// Merges `info` into the user's record at the manager.
  void updateOwner(IBsInfoReader* info);
};

/// A user's tokens at the platform, as the account server hands them out.
struct PlatformTokens {
  /// Reads the member "data" of an envelope; the life of the access token counts from now.
  [[nodiscard]] static PlatformTokens readFrom(const Json::Value& data);
  /// A refresh token that the server did not send is left unset, so that the user's record keeps the one that
  /// it has.
  void storeIn(BsBaseInfoRW& record) const;

  std::string accessToken;
  std::string refreshToken;
  std::int64_t expiresIn = 0;         ///< seconds
  std::int64_t expiresTimestamp = 0;  ///< seconds since the epoch
};

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

/// What the two share that are answered with a user's tokens.
class PlatformTokensRequest : public AccountRequest {
 public:
  using AccountRequest::AccountRequest;
  int handleRequestData(IBsBaseRequest* self, IBsInfoReader* info, IBsErrorInfo* error,
                        NetReply* reply) final;

 protected:
  void clearMembers() override { tokens_ = {}; }
  void readData(const Json::Value& data) override { tokens_ = PlatformTokens::readFrom(data); }
  virtual void publish(BsBaseInfoRW& record) const { tokens_.storeIn(record); }

 private:
  PlatformTokens tokens_;
};

/// State of a login session, as the code endpoint tells it.
enum LoginStatus : int { loginPending = 0, loginDone = 1, loginCanceledOrFailed = 2 };

/// Asks whether a login session has ended; once it has, the answer holds the platform's tokens.
class BsExternlMediaAuthUserSupportCodeRequest final : public PlatformTokensRequest {
 public:
  BsExternlMediaAuthUserSupportCodeRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;

  /// A value of LoginStatus, or whatever else the server said.
  [[nodiscard]] int status() const { return status_; }

 protected:
  void clearMembers() override;
  void readData(const Json::Value& data) override;
  void publish(BsBaseInfoRW& record) const override;

 private:
  std::string code_;
  std::string callbackUrl_;
  std::string openId_;
  bool hasOpenId_ = false;
  std::int32_t status_ = loginPending;
};

/// Trades a refresh token for new platform tokens.
class BsExternlMediaAuthUserSupportTokenRequest final : public PlatformTokensRequest {
 public:
  BsExternlMediaAuthUserSupportTokenRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
};

/// Asks the account server whether the client may use the service. A refusal is the envelope's own error, and
/// ends the chain of an upload.
class BsExternlMediaAuthUserSupportConsumeRequest final : public ConcreteAuthRequest {
 public:
  BsExternlMediaAuthUserSupportConsumeRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
};

}  // namespace KBL
