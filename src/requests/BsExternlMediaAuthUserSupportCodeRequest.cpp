#include "requests/BsExternlMediaAuthUserSupportCodeRequest.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/BsNet/BsBaseInfoRW.h"
#include "requests/JsonAccess.h"

namespace KBL {

namespace {
constexpr RequestConstants constants = {requestUserSupportCode, httpGet, "urlLFServerUserSupportCode",
                                        "ExternlMediaAuthUserSupportCode"};
}

BsExternlMediaAuthUserSupportCodeRequest::BsExternlMediaAuthUserSupportCodeRequest()
    : AccountRequest(constants) {}

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
  code_.clear();
  callbackUrl_.clear();
  tokens_ = {};
  openId_.clear();
  hasOpenId_ = false;
  status_ = loginPending;
}

void BsExternlMediaAuthUserSupportCodeRequest::readData(const Json::Value& data) {
  tokens_ = PlatformTokens::readFrom(data);
  code_ = jsonText(data, "code");
  callbackUrl_ = jsonText(data, "callback_url");
  status_ = jsonInt(data, "status");
  hasOpenId_ = jsonMember(data, "open_id").isString();
  openId_ = jsonText(data, "open_id");
}

int BsExternlMediaAuthUserSupportCodeRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info,
                                                                IBsErrorInfo*, NetReply*) {
  if (!parsed_) return 1;
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) {
    record->setCharKeyConfig(ExternlMediaMixedCharKey::authSupportCode, code_.c_str());
    record->setCharKeyConfig(ExternlMediaMixedCharKey::callbackUrl, callbackUrl_.c_str());
    // Left unset where the server sent no text, so that the user's record keeps the id that it has.
    if (hasOpenId_) record->setCharKeyConfig(ExternlMediaMixedCharKey::userAccountUid, openId_.c_str());
    record->setIntKeyConfig(ExternlMediaMixedIntKey::status, status_);
    tokens_.storeIn(*record);
  }
  if (!tokens_.accessToken.empty()) updateOwner(info);
  setReplyInfo(shareRef(info));
  return 0;
}

}  // namespace KBL
