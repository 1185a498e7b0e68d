#include "requests/BsExternlMediaAuthUserSupportTokenRequest.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/BsNet/BsBaseInfoRW.h"
#include "requests/JsonAccess.h"

namespace KBL {

namespace {
constexpr RequestConstants constants = {requestUserSupportToken, httpPost, "urlLFServerUserSupportToken",
                                        "ExternlMediaAuthUserSupportToken"};
}

BsExternlMediaAuthUserSupportTokenRequest::BsExternlMediaAuthUserSupportTokenRequest()
    : AccountRequest(constants) {}

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

void BsExternlMediaAuthUserSupportTokenRequest::clearMembers() {
  tokens_ = {};
}

void BsExternlMediaAuthUserSupportTokenRequest::readData(const Json::Value& data) {
  tokens_ = PlatformTokens::readFrom(data);
}

int BsExternlMediaAuthUserSupportTokenRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info,
                                                                 IBsErrorInfo*, NetReply*) {
  if (!parsed_) return 1;
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) {
    tokens_.storeIn(*record);
  }
  if (!tokens_.accessToken.empty()) updateOwner(info);
  setReplyInfo(shareRef(info));
  return 0;
}

}  // namespace KBL
