// One attempt of a request: URL, network client, proxy, envelope and errors.
#include "boundary/records/ExternlMediaPlatform.h"
#include "boundary/records/Records.h"
#include "foundation/BsCloudConfig/BsCloudConfig.h"
#include "foundation/BsNet/BsErrorInfo.h"
#include "foundation/BsNet/NetKeys.h"
#include "foundation/BsNet/covertToErrorCode.h"
#include "foundation/KblLogger/KblLogger.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include "requests/JsonAccess.h"

#include <array>
#include <memory>

namespace KBL {

namespace {
constexpr int defaultTimeoutMs = 30000;
constexpr int statusOk = 200;
constexpr int firstFailureStatus = 400;
constexpr int codeNotChecked = 1000;

void setOriginCode(IBsErrorInfo& error, int code) {
  if (auto* const full = dynamic_cast<BsErrorInfo*>(&error)) full->setOriginCode(code);
}

struct ServerProxySettings {
  explicit ServerProxySettings(IBsInfoReader& proxy)
      : mode(proxy.intKeyConfig(ServerProxyIntKey::mode)),
        type(proxy.intKeyConfig(ServerProxyIntKey::type)),
        server(proxy.charKeyConfig(ServerProxyCharKey::server)),
        port(proxy.intKeyConfig(ServerProxyIntKey::port)),
        user(proxy.charKeyConfig(ServerProxyCharKey::user)),
        password(proxy.charKeyConfig(ServerProxyCharKey::password)) {}

  [[nodiscard]] bool usable() const {
    return mode != 1 && type > 0 && type != absentIntValue && server != nullptr && port >= 1 &&
           port <= 65535 && user != nullptr && password != nullptr;
  }

  long long mode;
  long long type;
  const char* server;
  long long port;
  const char* user;
  const char* password;
};
}  // namespace

std::string BsExternlMediaAuthRequest::configuredUrl(const std::string& key) {
  IBsCloudConfigManager* const manager = getBsCloudConfigManager();
  IBsUrlConfig* const urls = manager == nullptr ? nullptr : manager->urlConfig();
  if (urls == nullptr) return {};
  std::array<char, urlBufferSize + 1> buffer{};  // ends in a zero byte whatever is written
  urls->urlForKey(key.c_str(), buffer.data(), 0);
  return buffer.data();
}

void BsExternlMediaAuthRequest::syncRequestWithInfo(IBsInfoReader* info) {
  (void)runAttempt(info);
}

RefPtr<IBsErrorInfo> BsExternlMediaAuthRequest::runAttempt(IBsInfoReader* info) {
  KBL_LOG_AS(info, "KBL::BsExternlMediaAuthRequest::syncRequestWithInfo",
             "base syncRequestWithInfo:" << name);
  responseSize_ = 0;
  RefPtr<IBsErrorInfo> error = errorInfo();
  error->setError(ErrorCode::none, "");
  setOriginCode(*error, 0);
  try {
    attempt(info, *error);
  } catch (...) {  // memory is short
    error->setError(ErrorCode::noNetworkClient, "create network request failed");
  }
  return error;
}

void BsExternlMediaAuthRequest::attempt(IBsInfoReader* info, IBsErrorInfo& error) {
  if (!URL::FromString(configuredUrl()).IsValid()) {
    error.setError(ErrorCode::urlInvalid, "url invalid");
    return;
  }
  const std::unique_ptr<INetworkClient> client(creatNetworkClient());
  if (client == nullptr) {
    error.setError(ErrorCode::noNetworkClient, "create network request failed");
    return;
  }
  client->setHeaders(requestHeaders_);
  client->setTotalTimeout(timeoutMs < 1 ? defaultTimeoutMs : timeoutMs);
  applyServerProxy(*client);

  NetReply reply;
  const _Result status = Request(info, client.get(), &reply);
  responseSize_ = reply.content.size();
  if (covertToErrorCode(&reply.resultCode) != 0 || status != resultOk) {
    failExchange(info, error, reply);
    return;
  }
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) {
    record->setCharKeyConfig(ResponseCharKey::content, reply.content.c_str());
  }
  handleResponse(info, reply.content, &error, &reply);
}

void BsExternlMediaAuthRequest::applyServerProxy(INetworkClient& client) {
  if (!serverProxy) return;
  const ServerProxySettings settings(*serverProxy);
  if (!settings.usable()) return;
  KBL_LOG_AS(info, "KBL::BsExternlMediaAuthRequest::syncRequestWithInfo",
             name << ", setProxy:" << proxyTypeName(settings.type) << ",server:" << settings.server
                  << ",port:" << settings.port);
  client.setProxy(static_cast<int>(settings.type), settings.server, static_cast<int>(settings.port),
                  settings.user, settings.password);
}

void BsExternlMediaAuthRequest::failExchange(IBsInfoReader* info, IBsErrorInfo& error, NetReply& reply) {
  reportFailure(reply, error);
  hookNetError(info, &error, &reply);
  hookRequestInfo(info, &error, &reply);
  reportFailure(reply, error);  // again, since a hook may have changed the error
}

void BsExternlMediaAuthRequest::reportFailure(const NetReply& reply, IBsErrorInfo& error) {
  if (reply.resultCode != 0) {
    error.setError(covertToErrorCode(&reply.resultCode), reply.errorMessage.c_str());
    setOriginCode(error, reply.resultCode);
  } else if (reply.httpCode != statusOk) {
    error.setError(reply.httpCode, reply.content.c_str());
  }
}

_Result BsExternlMediaAuthRequest::Request(IBsInfoReader*, INetworkClient* client, NetReply* reply) {
  const std::string address = configuredUrl();
  KBL_LOG(info, name << ":" << address);
  *reply = client->perform(URL::FromString(address), httpMethod_, nullptr, nullptr, nullptr, nullptr);
  return resultOk;
}

int BsExternlMediaAuthRequest::handleResponse(IBsInfoReader* info, const std::string& content,
                                              IBsErrorInfo* error, NetReply* reply) {
  parseEnvelope(info, content, error, reply);
  const int code = error->errorCode();
  // A failure status speaks for itself unless the body told a better reason.
  if (reply->httpCode >= firstFailureStatus && (code == ErrorCode::none || code == ErrorCode::replyNotRead)) {
    failExchange(info, *error, *reply);
    return 1;
  }
  if (code == ErrorCode::replyNotRead) return 1;
  return handleRequestData(this, info, error, reply);
}

int BsExternlMediaAuthRequest::parseEnvelope(IBsInfoReader*, const std::string& content, IBsErrorInfo* error,
                                             NetReply*) {
  Json::Value root;
  std::string message;
  int code = codeNotChecked;
  if (checkResponseValid(content, root, message, code) != 0) return 1;
  error->setError(code, message.c_str());
  return 0;
}

int BsExternlMediaAuthRequest::checkResponseValid(const std::string& content, Json::Value& root,
                                                  std::string& message, int& code) {
  code = ErrorCode::replyNotRead;
  if (!parseJson(content, root)) {
    message = "can't read json. response:" + content;
  } else if (!jsonMember(root, "code").isInt()) {
    message = "can't read json.";
  } else {
    code = jsonMember(root, "code").asInt();
    if (code == 0) {
      KBL_LOG(info, name << ", success code:" << code << ",msg:" << message << ",content:" << content);
      return 1;
    }
    message = jsonText(root, "msg");
  }
  KBL_LOG(info, name << ", error code:" << code << ",msg:" << message << ",content:" << content
                     << ", url: " << configuredUrl());
  return 0;
}

int BsExternlMediaAuthRequest::hookRequestInfo(IBsInfoReader* info, IBsErrorInfo*, NetReply*) {
  if (auto* const record = dynamic_cast<IBsBaseInfoRW*>(info)) {
    BsBaseInfoRW address;
    address.setCharKeyConfig(RequestParamCharKey::url, configuredUrl().c_str());
    record->updataFrom(&address);
  }
  return 0;
}

int BsExternlMediaAuthRequest::hookNetError(IBsInfoReader* info, IBsErrorInfo* error, NetReply*) {
  if (auto* const param = dynamic_cast<IBsRequestParamReply*>(info)) {
    param->setCharKeyConfig(RequestParamCharKey::url, configuredUrl().c_str());
  }
  KblBaseRequest::hookCallback(this, info, error);
  KBL_LOG(error, name << ":network originCode:" << error->errorCode() << ", msg:" << error->errorMessage());
  return 1;
}

int BsExternlMediaAuthRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader*, IBsErrorInfo*, NetReply*) {
  setReplyInfo(makeRef<BsExternlMediaAuthMixedInfo>());
  return 0;
}

}  // namespace KBL
