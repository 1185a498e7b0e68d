#include "requests/AccountRequests.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/Records.h"
#include "foundation/Texts.h"
#include "json/JsonAccess.h"
#include <BsNet/BsInfoReader.h>
#include <BsNet/NetKeys.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/TimeUtil.h>

#include <limits>

namespace KBL {

namespace {
constexpr int accountTokenType = 2;

std::int64_t expiryFromNow(std::int64_t expiresIn) {
  const auto now = static_cast<std::int64_t>(TimeUtil::nowSinceEpoch() / 1000);
  // A server may send any number; one below the greatest, which reads as an absent key.
  constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max() - 1;
  return expiresIn > latest - now ? latest : expiresIn + now;
}

constexpr RequestConstants clientCredentials = {
    requestClientCredentials, httpPost, "urlLFServerClientCredentials", "ExternlMediaAuthClientCredentials"};
constexpr RequestConstants userSupportCode = {requestUserSupportCode, httpGet, "urlLFServerUserSupportCode",
                                              "ExternlMediaAuthUserSupportCode"};
constexpr RequestConstants userSupportToken = {
    requestUserSupportToken, httpPost, "urlLFServerUserSupportToken", "ExternlMediaAuthUserSupportToken"};
constexpr RequestConstants userSupportConsume = {requestUserSupportConsume, httpPost,
                                                 "urlUserSupportQueryConsume",
                                                 "ExternlMediaAuthUserSupportQueryConsume"};
}  // namespace

bool AccountRequest::readReply(const Json::Value& root, const std::string&, IBsErrorInfo& error,
                               const NetReply*) {
  const Json::Value& data = jsonMember(root, "data");
  if (!data.isNull() && !data.isObject()) {
    error.setError(ErrorCode::replyNotRead, "can't read json.");
    return false;
  }
  readData(data);
  return true;
}

void AccountRequest::updateOwner(IBsInfoReader* info) {
  ExternlMediaAuthCallbackProxy::instance().updateInfo(ownerTag(), userUuid(), info);
}

// --- A user's tokens

PlatformTokens PlatformTokens::readFrom(const Json::Value& data) {
  PlatformTokens tokens;
  tokens.accessToken = jsonText(data, "access_token");
  tokens.refreshToken = jsonText(data, "refresh_token");
  tokens.expiresIn = jsonInt64(data, "expires_in");
  tokens.expiresTimestamp = expiryFromNow(tokens.expiresIn);
  return tokens;
}

void PlatformTokens::storeIn(BsBaseInfoRW& record) const {
  record.setCharKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken, accessToken.c_str());
  if (!refreshToken.empty()) {
    record.setCharKeyConfig(ExternlMediaMixedCharKey::refreshToken, refreshToken.c_str());
  }
  record.setIntKeyConfig(ExternlMediaMixedIntKey::expiresIn, expiresIn);
  record.setIntKeyConfig(ExternlMediaMixedIntKey::expiresTimestamp, expiresTimestamp);
}

int PlatformTokensRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info, IBsErrorInfo*, NetReply*) {
  if (!gotResult()) return 1;
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) publish(*record);
  if (!tokens_.accessToken.empty()) updateOwner(info);
  setReplyInfo(shareRef(info));
  return 0;
}

// --- The account server's own token

BsExternlMediaAuthClientCredentialsRequest::BsExternlMediaAuthClientCredentialsRequest()
    : AccountRequest(clientCredentials) {}

_Result BsExternlMediaAuthClientCredentialsRequest::Request(IBsInfoReader*, INetworkClient* client,
                                                            NetReply* reply) {
  const std::string secret = textOf(fullPubInfo(), PubCharKey::appSecret);
  if (secret.empty()) return refuse(*reply, ErrorCode::paramInvalid, "param invalid");

  Json::Value body(Json::objectValue);
  body["app_secret"] = secret;
  body["grant_type"] = "client_credentials";
  client->setBody(compactJson(body));
  return exchange(*client, *reply, configuredUrl());
}

void BsExternlMediaAuthClientCredentialsRequest::clearMembers() {
  accessToken_.clear();
  expiresIn_ = 0;
  tokenType_ = 0;
}

void BsExternlMediaAuthClientCredentialsRequest::readData(const Json::Value& data) {
  accessToken_ = jsonText(data, "access_token");
  expiresIn_ = jsonInt64(data, "expires_in");
  tokenType_ = accountTokenType;
}

int BsExternlMediaAuthClientCredentialsRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info,
                                                                  IBsErrorInfo*, NetReply*) {
  if (!gotResult()) return 1;
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) {
    record->setCharKeyConfig(ExternlMediaMixedCharKey::accessToken, accessToken_.c_str());
    record->setIntKeyConfig(ExternlMediaMixedIntKey::tokenType, tokenType_);
    record->setIntKeyConfig(ExternlMediaMixedIntKey::expiresIn, expiresIn_);
  }
  // Without the lifetime on purpose: the record's expiry is that of the platform token.
  const auto learnt = makeRef<BsExternlMediaAuthMixedInfo>();
  learnt->setCharKeyConfig(ExternlMediaMixedCharKey::accessToken, accessToken_.c_str());
  learnt->setIntKeyConfig(ExternlMediaMixedIntKey::tokenType, tokenType_);
  setReplyInfo(learnt);
  updateOwner(learnt.get());
  return 0;
}

// --- The state of a login session

BsExternlMediaAuthUserSupportCodeRequest::BsExternlMediaAuthUserSupportCodeRequest()
    : PlatformTokensRequest(userSupportCode) {}

_Result BsExternlMediaAuthUserSupportCodeRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                          NetReply* reply) {
  const std::string sessionId = textOf(info, ExternlMediaMixedCharKey::sessionId);
  const std::string accessToken = textOf(info, ExternlMediaMixedCharKey::accessToken);
  if (sessionId.empty() || accessToken.empty()) {
    return refuse(*reply, ErrorCode::paramInvalid, "param invalid");
  }
  client->setBearerToken(accessToken);
  return exchange(*client, *reply, configuredUrl() + "/" + sessionId, ", session id:" + sessionId);
}

void BsExternlMediaAuthUserSupportCodeRequest::clearMembers() {
  PlatformTokensRequest::clearMembers();
  code_.clear();
  callbackUrl_.clear();
  openId_.clear();
  hasOpenId_ = false;
  status_ = loginPending;
}

void BsExternlMediaAuthUserSupportCodeRequest::readData(const Json::Value& data) {
  PlatformTokensRequest::readData(data);
  code_ = jsonText(data, "code");
  callbackUrl_ = jsonText(data, "callback_url");
  status_ = jsonInt(data, "status");
  hasOpenId_ = jsonMember(data, "open_id").isString();
  openId_ = jsonText(data, "open_id");
}

void BsExternlMediaAuthUserSupportCodeRequest::publish(BsBaseInfoRW& record) const {
  record.setCharKeyConfig(ExternlMediaMixedCharKey::authSupportCode, code_.c_str());
  record.setCharKeyConfig(ExternlMediaMixedCharKey::callbackUrl, callbackUrl_.c_str());
  // Left unset where the server sent no text, so that the user's record keeps the id that it has.
  if (hasOpenId_) record.setCharKeyConfig(ExternlMediaMixedCharKey::userAccountUid, openId_.c_str());
  record.setIntKeyConfig(ExternlMediaMixedIntKey::status, status_);
  PlatformTokensRequest::publish(record);
}

// --- New platform tokens

BsExternlMediaAuthUserSupportTokenRequest::BsExternlMediaAuthUserSupportTokenRequest()
    : PlatformTokensRequest(userSupportToken) {}

_Result BsExternlMediaAuthUserSupportTokenRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                           NetReply* reply) {
  const std::string refreshToken = textOf(info, ExternlMediaMixedCharKey::refreshToken);
  const std::string accessToken = textOf(info, ExternlMediaMixedCharKey::accessToken);
  if (refreshToken.empty() || accessToken.empty()) {
    return refuse(*reply, ErrorCode::paramInvalid, "refresh token param invalid");
  }
  Json::Value body(Json::objectValue);
  body["refresh_token"] = refreshToken;
  client->setBody(compactJson(body));
  client->setBearerToken(accessToken);
  return exchange(*client, *reply, configuredUrl());
}

// --- The entitlement

BsExternlMediaAuthUserSupportConsumeRequest::BsExternlMediaAuthUserSupportConsumeRequest()
    : ConcreteAuthRequest(userSupportConsume) {}

_Result BsExternlMediaAuthUserSupportConsumeRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                             NetReply* reply) {
  const std::string accessToken = textOf(info, ExternlMediaMixedCharKey::accessToken);
  if (accessToken.empty()) return refuse(*reply, ErrorCode::paramInvalid, "param invalid");

  Json::Value body(Json::objectValue);
  body["use_client"] = decimalNumber(textOr(info, ExternlUserConsumeCharKey::use_client, "1").c_str());
  body["action_type"] = decimalNumber(textOr(info, ExternlUserConsumeCharKey::action_type, "1").c_str());
  client->setBody(compactJson(body));
  client->setBearerToken(accessToken);
  return exchange(*client, *reply, configuredUrl());
}

}  // namespace KBL
