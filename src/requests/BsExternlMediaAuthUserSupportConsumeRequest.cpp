#include "requests/BsExternlMediaAuthUserSupportConsumeRequest.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "requests/AccountRequest.h"
#include "requests/JsonAccess.h"

namespace KBL {

namespace {
constexpr RequestConstants constants = {requestUserSupportConsume, httpPost, "urlUserSupportQueryConsume",
                                        "ExternlMediaAuthUserSupportQueryConsume"};
}

BsExternlMediaAuthUserSupportConsumeRequest::BsExternlMediaAuthUserSupportConsumeRequest()
    : ConcreteAuthRequest(constants) {}

_Result BsExternlMediaAuthUserSupportConsumeRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                             NetReply* reply) {
  const std::string accessToken = textOf(info, ExternlMediaMixedCharKey::accessToken);
  if (accessToken.empty()) return refuse(*reply, ErrorCode::paramInvalid, "param invalid");

  Json::Value body(Json::objectValue);
  body["use_client"] = decimalInt(textOr(info, ExternlUserConsumeCharKey::use_client, "1"));
  body["action_type"] = decimalInt(textOr(info, ExternlUserConsumeCharKey::action_type, "1"));
  client->setBody(compactJson(body));
  client->setBearerToken(accessToken);
  return exchange(*client, *reply, configuredUrl());
}

}  // namespace KBL
