#include "requests/BsExternlMediaAuthClientCredentialsRequest.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/Records.h"
#include "foundation/BsNet/NetKeys.h"
#include "requests/JsonAccess.h"

namespace KBL {

namespace {
constexpr RequestConstants constants = {requestClientCredentials, httpPost, "urlLFServerClientCredentials",
                                        "ExternlMediaAuthClientCredentials"};
constexpr int accountTokenType = 2;
}  // namespace

BsExternlMediaAuthClientCredentialsRequest::BsExternlMediaAuthClientCredentialsRequest()
    : AccountRequest(constants) {}

_Result BsExternlMediaAuthClientCredentialsRequest::Request(IBsInfoReader*, INetworkClient* client,
                                                            NetReply* reply) {
  const std::string secret = textOf(pubInfoCopy_.get(), PubCharKey::appSecret);
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
  if (!parsed_) return 1;
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

}  // namespace KBL
