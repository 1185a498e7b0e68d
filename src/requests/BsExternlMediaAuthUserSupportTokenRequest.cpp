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
  thirdAccessToken_.clear();
  refreshToken_.clear();
  expiresIn_ = 0;
  expiresTimestamp_ = 0;
}

void BsExternlMediaAuthUserSupportTokenRequest::readData(const Json::Value& data) {
  expiresIn_ = jsonInt64(data, "expires_in");
  expiresTimestamp_ = expiryFromNow(expiresIn_);
  thirdAccessToken_ = jsonText(data, "access_token");
  refreshToken_ = jsonText(data, "refresh_token");
}

int BsExternlMediaAuthUserSupportTokenRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info,
                                                                 IBsErrorInfo*, NetReply*) {
  if (!parsed_) return 1;
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) {
    record->setCharKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken, thirdAccessToken_.c_str());
    record->setCharKeyConfig(ExternlMediaMixedCharKey::refreshToken, refreshToken_.c_str());
    record->setIntKeyConfig(ExternlMediaMixedIntKey::expiresIn, expiresIn_);
    record->setIntKeyConfig(ExternlMediaMixedIntKey::expiresTimestamp, expiresTimestamp_);
  }
  if (!thirdAccessToken_.empty()) updateOwner(info);
  setReplyInfo(shareRef(info));
  return 0;
}

}  // namespace KBL
