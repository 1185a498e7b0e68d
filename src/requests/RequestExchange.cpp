#include "requests/RequestExchange.h"

#include "boundary/records/PlatformNames.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/BsErrorInfo.h>
#include <BsNet/BsInfoReader.h>
#include <BsNet/NetKeys.h>
#include <BsNet/NetReply.h>
#include <KblLogger/KblLogger.h>
#include <KblUtils/HostCode.h>
#include <KblUtils/StringUtil.h>

#include <array>
#include <memory>
#include <utility>

namespace KBL {

namespace {
constexpr int defaultTimeoutMs = 30000;
constexpr int statusOk = 200;
constexpr const char* attemptFunction = "KBL::BsExternlMediaAuthRequest::syncRequestWithInfo";

struct ServerProxySettings {
  explicit ServerProxySettings(IBsInfoReader& proxy)
      : mode(proxy.intKeyConfig(ServerProxyIntKey::mode)),
        type(proxy.intKeyConfig(ServerProxyIntKey::type)),
        server(proxy.charKeyConfig(ServerProxyCharKey::server)),
        port(proxy.intKeyConfig(ServerProxyIntKey::port)),
        user(proxy.charKeyConfig(ServerProxyCharKey::user)),
        password(proxy.charKeyConfig(ServerProxyCharKey::password)) {}

  [[nodiscard]] bool isOrdered() const {
    return mode != 1 && type > 0 && server != nullptr && port >= 1 && port <= 65535 && user != nullptr &&
           password != nullptr;
  }

  /// A missing kind reads as the greatest number, and so is unknown.
  [[nodiscard]] bool isKnown() const { return type <= proxySocks5; }

  long long mode;
  long long type;
  const char* server;
  long long port;
  const char* user;
  const char* password;
};

// Tokens never travel where the host ordered a proxy that cannot be had: false for one of an unknown kind.
bool applyServerProxy(BsExternlMediaAuthRequest& request, INetworkClient& client) {
  IBsServerProxyInfo* const proxy = request.getServerProxy();
  if (proxy == nullptr) return true;
  const ServerProxySettings settings(*proxy);
  if (!settings.isOrdered()) return true;
  KBL_LOG_AS(severityInfo, attemptFunction,
             request.getRequestName() << ", setProxy:" << proxyTypeName(settings.type)
                                      << ",server:" << settings.server << ",port:" << settings.port);
  if (!settings.isKnown()) return false;
  client.setProxy(static_cast<int>(settings.type), settings.server, static_cast<int>(settings.port),
                  settings.user, settings.password);
  return true;
}
}  // namespace

RequestExchange::RequestExchange(std::string urlKey, int httpMethod)
    : urlKey_(std::move(urlKey)), httpMethod_(httpMethod) {}

std::string RequestExchange::configuredUrl(const std::string& key) {
  IBsCloudConfigManager* const manager = getBsCloudConfigManager();
  IBsUrlConfig* const urls = manager == nullptr ? nullptr : manager->urlConfig();
  if (urls == nullptr) return {};
  std::array<char, urlBufferSize + 1> buffer{};  // ends in a zero byte whatever is written
  urls->urlForKey(key.c_str(), buffer.data(), 0);
  return buffer.data();
}

void RequestExchange::takeHeaders(IBsPubInfo& info) {
  // The account server takes the secret as a header, too, so it stands in this list as well.
  const char* const headerKeys[] = {PubCharKey::appSecret,   PubCharKey::clientType, PubCharKey::clientSn,
                                    PubCharKey::appKey,      PubCharKey::prodId,     PubCharKey::prodVer,
                                    PubCharKey::contentType, PubCharKey::ver,        PubCharKey::lang};
  for (const char* const key : headerKeys) {
    if (const char* const value = info.charKeyConfig(key)) requestHeaders_[key] = value;
  }
}

RefPtr<IBsErrorInfo> RequestExchange::run(BsExternlMediaAuthRequest& request, IBsInfoReader* info) {
  KBL_LOG_AS(severityInfo, attemptFunction, "base syncRequestWithInfo:" << request.getRequestName());
  responseSize_ = 0;
  RefPtr<IBsErrorInfo> error = request.errorInfo();
  error->setError(ErrorCode::none, "");
  setOriginCode(*error, 0);
  try {
    attempt(request, info, *error);
  } catch (...) {  // memory is short
    passThreadEnd();
    error->setError(ErrorCode::noNetworkClient, "create network request failed");
  }
  return error;
}

void RequestExchange::attempt(BsExternlMediaAuthRequest& request, IBsInfoReader* info, IBsErrorInfo& error) {
  if (!URL::FromString(configuredUrl()).IsValid()) {
    error.setError(ErrorCode::urlInvalid, "url invalid");
    return;
  }
  const OwnedNetworkClient client(request.creatNetworkClient());
  if (client == nullptr) {
    error.setError(ErrorCode::noNetworkClient, "create network request failed");
    return;
  }
  client->setHeaders(requestHeaders_);
  const int timeoutMs = request.getTimeout();
  client->setTotalTimeout(timeoutMs < 1 ? defaultTimeoutMs : timeoutMs);

  NetReply reply;
  if (!applyServerProxy(request, *client)) {
    reply.resultCode = ErrorCode::paramInvalid;
    reply.errorMessage = "param invalid";
    fail(request, info, error, reply);
    return;
  }
  const _Result status = request.Request(info, client.get(), &reply);
  responseSize_ = reply.content.size();
  if (covertToErrorCode(&reply.resultCode) != 0 || status != resultOk) {
    fail(request, info, error, reply);
    return;
  }
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) {
    record->setCharKeyConfig(ResponseCharKey::content, reply.content.c_str());
  }
  request.handleResponse(info, reply.content, &error, &reply);
}

void RequestExchange::fail(BsExternlMediaAuthRequest& request, IBsInfoReader* info, IBsErrorInfo& error,
                           NetReply& reply) {
  reportFailure(reply, error);
  request.hookNetError(info, &error, &reply);
  request.hookRequestInfo(info, &error, &reply);
  reportFailure(reply, error);  // again, since a hook may have changed the error
}

void reportFailure(const NetReply& reply, IBsErrorInfo& error) {
  if (reply.resultCode != 0) {
    error.setError(covertToErrorCode(&reply.resultCode), StringUtil::excerpt(reply.errorMessage).c_str());
    setOriginCode(error, reply.resultCode);
  } else if (reply.httpCode != statusOk) {
    error.setError(reply.httpCode, StringUtil::excerpt(reply.content).c_str());
  }
}

void setOriginCode(IBsErrorInfo& error, int code) {
  if (auto* const full = dynamic_cast<BsErrorInfo*>(&error)) full->setOriginCode(code);
}

}  // namespace KBL
