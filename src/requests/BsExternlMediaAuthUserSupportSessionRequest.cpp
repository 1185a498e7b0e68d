#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/Records.h"
#include "foundation/KblLogger/KblLogger.h"
#include "requests/JsonAccess.h"

#include <cstddef>

namespace KBL {

namespace {
constexpr RequestConstants constants = {requestUserSupportSession, httpPost, "urlLFServerUserSupportSession",
                                        "ExternlMediaAuthUserSupportSession"};
constexpr std::int32_t pollingTimeoutMs = 180000;

/// The text split at each comma, empty words included.
Json::Value wordsOf(const std::string& text) {
  Json::Value words(Json::arrayValue);
  for (std::size_t begin = 0; begin != std::string::npos;) {
    const std::size_t comma = text.find(',', begin);
    const std::size_t length = comma == std::string::npos ? comma : comma - begin;
    words.append(text.substr(begin, length));
    begin = comma == std::string::npos ? comma : comma + 1;
  }
  return words;
}
}  // namespace

BsExternlMediaAuthUserSupportSessionRequest::BsExternlMediaAuthUserSupportSessionRequest()
    : AccountRequest(constants),
      pollingProxy_(
          std::make_shared<ExternlMediaAuthThirdPollingProxy>("third_share", pollingTimeoutMs, this)) {}

BsExternlMediaAuthUserSupportSessionRequest::~BsExternlMediaAuthUserSupportSessionRequest() = default;

_Result BsExternlMediaAuthUserSupportSessionRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                             NetReply* reply) {
  const std::string accessToken = textOf(info, ExternlMediaMixedCharKey::accessToken);
  const std::string platformId = textOf(info, ExternlMediaLoginCharKey::platformId);
  if (accessToken.empty() || platformId.empty()) {
    return refuse(*reply, ErrorCode::paramInvalid, "param invalid");
  }
  Json::Value body(Json::objectValue);
  if (const char* const url = info->charKeyConfig(ExternlMediaLoginCharKey::url)) body["url"] = url;
  body["platform"] = decimalInt(platformId);
  body["use_client"] = decimalInt(textOr(info, ExternlMediaLoginCharKey::use_client, "1"));
  body["is_callback_token"] = 1;
  const std::string scope = textOf(info, ExternlMediaLoginCharKey::scope);
  if (!scope.empty()) body["scope"] = wordsOf(scope);
  client->setBody(compactJson(body));
  client->setBearerToken(accessToken);
  return exchange(*client, *reply, configuredUrl());
}

void BsExternlMediaAuthUserSupportSessionRequest::clearMembers() {
  openUrl_.clear();
  sessionId_.clear();
}

void BsExternlMediaAuthUserSupportSessionRequest::readData(const Json::Value& data) {
  openUrl_ = jsonText(data, "open_url");
  sessionId_ = jsonText(data, "session_id");
}

int BsExternlMediaAuthUserSupportSessionRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info,
                                                                   IBsErrorInfo*, NetReply*) {
  if (!parsed_) return 1;
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) {
    record->setCharKeyConfig(ExternlMediaMixedCharKey::sessionId, sessionId_.c_str());
    record->setCharKeyConfig(ExternlMediaMixedCharKey::openUrl, openUrl_.c_str());
  }
  KBL_LOG(info, "seesion id: " << sessionId_);  // spelled so in every log that support has collected

  const auto login = makeRef<BsExternlMediaAuthLoginInfo>();
  login->CopyInfo(info);
  setReplyInfo(login);
  keepRecord(shareRef(info));
  ExternlMediaAuthCallbackProxy::instance().cbQueryThirdLoginURL(ownerTag_, userUuid_, openUrl_);

  // A tick holds references on both, so the function needs none of its own.
  pollingProxy_->setTimerFunction([this, info] { codePolling(info); });
  pollingProxy_->startThirdProcess(info);
  return 0;
}

}  // namespace KBL
