// The plain exchange of KblBaseRequest: what its parameters say is sent, with retries.
#include "foundation/Texts.h"
#include <BsNet/BsErrorInfo.h>
#include <BsNet/KblBaseRequest.h>
#include <BsNet/NetKeys.h>
#include <BsNet/NetReply.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <sstream>

namespace KBL {
namespace {

constexpr int defaultTimeoutMs = 30000;

using PlainHeaders = std::map<std::string, std::string>;

/// Stops the exchange when its parameters are aborted; else the caller's own callback decides.
class ParamProgress final : public IBsProgressCallback {
 public:
  ParamProgress(IBsRequestParamReply& param, IBsProgressCallback* next) : param_(param), next_(next) {}

  bool onProgress(long long downloadTotal, long long downloaded, long long uploadTotal,
                  long long uploaded) override {
    if (param_.isAbord() != 0) return false;
    return next_ == nullptr || next_->onProgress(downloadTotal, downloaded, uploadTotal, uploaded);
  }

  bool onReplyStarted(int httpCode) override { return next_ == nullptr || next_->onReplyStarted(httpCode); }

 private:
  IBsRequestParamReply& param_;
  IBsProgressCallback* next_;
};

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// The public information as headers. The application's secret is no part of a plain request.
void addPubParam(HeaderMap& headers, IBsPubInfo* info) {
  if (info == nullptr) return;
  for (const char* const key :
       {PubCharKey::clientType, PubCharKey::clientSn, PubCharKey::appKey, PubCharKey::prodId,
        PubCharKey::prodVer, PubCharKey::contentType, PubCharKey::ver, PubCharKey::lang}) {
    if (const char* const value = info->charKeyConfig(key)) headers[key] = value;
  }
}

void addHeaderLines(HeaderMap& headers, const char* lines) {
  std::istringstream stream(textOrEmpty(lines));
  for (std::string line; std::getline(stream, line);) {
    const auto colon = line.find(':');
    if (colon == std::string::npos || colon == 0) continue;
    headers[trimmed(line.substr(0, colon))] = trimmed(line.substr(colon + 1));
  }
}

PlainHeaders headersOf(IBsRequestParamReply& param, IBsPubInfo* requestsPubInfo) {
  HeaderMap headers;
  addPubParam(headers, param.getPubParam() != nullptr ? param.getPubParam() : requestsPubInfo);
  if (param.getBodyType() == bodyJson) headers["Content-Type"] = "application/json";
  if (param.getBodyType() == bodyForm) headers["Content-Type"] = "application/x-www-form-urlencoded";
  addHeaderLines(headers, param.getRequestheads());
  return {headers.begin(), headers.end()};
}

void setOrigin(IBsErrorInfo& error, int code) {
  if (auto* const own = dynamic_cast<BsErrorInfo*>(&error)) own->setOriginCode(code);
}

/// Reads the proxy record by the rules of IBsServerProxyInfo and routes the client through it. False for a
/// proxy of an unknown kind.
bool applyServerProxy(INetworkClient& client, IBsServerProxyInfo* proxy) {
  if (proxy == nullptr || proxy->intKeyConfig(ServerProxyIntKey::mode) == 1) return true;
  const long long type = proxy->intKeyConfig(ServerProxyIntKey::type);
  const long long port = proxy->intKeyConfig(ServerProxyIntKey::port);
  const char* const server = proxy->charKeyConfig(ServerProxyCharKey::server);
  const char* const user = proxy->charKeyConfig(ServerProxyCharKey::user);
  const char* const password = proxy->charKeyConfig(ServerProxyCharKey::password);
  if (type < proxyHttp || port < 1 || port > 65535) return true;
  if (server == nullptr || user == nullptr || password == nullptr) return true;
  if (type > proxySocks5) return false;  // or none at all, which reads as the greatest number
  client.setProxy(static_cast<int>(type), server, static_cast<int>(port), user, password);
  return true;
}

/// Writes the outcome of one try to `error` and, unless a writer took the body, to `param`.
void report(const NetReply& reply, bool keepContent, IBsRequestParamReply& param, IBsErrorInfo& error) {
  setOrigin(error, reply.resultCode);
  if (reply.resultCode != 0) {
    error.setError(covertToErrorCode(&reply.resultCode), reply.errorMessage.c_str());
    return;
  }
  if (keepContent) param.parseResponse(reply.content.data(), static_cast<long long>(reply.content.size()));
  const bool isGood = reply.httpCode >= 200 && reply.httpCode < 300;
  error.setError(isGood ? ErrorCode::none : reply.httpCode, isGood ? "" : reply.content.c_str());
}

}  // namespace

bool KblBaseRequest::applySettings(INetworkClient& client, long long totalTimeoutMs) {
  if (!applyServerProxy(client, serverProxy.get())) return false;
  client.setTotalTimeout(
      static_cast<int>(std::min<long long>(totalTimeoutMs, std::numeric_limits<int>::max())));
  client.setConnectTimeout(connectTimeoutMs_);
  client.setLowSpeed(lowSpeedBytes_, lowSpeedSeconds_);
  client.setBearerToken(bearer_);
  return true;
}

_Result KblBaseRequest::syncRequest(IBsRequestParamReply* param, IBsErrorInfo* error) {
  return syncRequestEx(param, error, nullptr, nullptr, nullptr, nullptr);
}

_Result KblBaseRequest::syncRequestEx(IBsRequestParamReply* param, IBsErrorInfo* error,
                                      IBsResponseWriteCallback* writer, void* writerContext,
                                      IBsProgressCallback* progress, void* progressContext) {
  if (param == nullptr || error == nullptr) return resultFailed;
  error->setError(ErrorCode::none, "");
  setOrigin(*error, 0);
  try {
    return runTries(*param, *error, writer, writerContext, progress, progressContext);
  } catch (...) {
    error->setError(ErrorCode::noNetworkClient, "create network request failed");
    return resultFailed;
  }
}

_Result KblBaseRequest::runTries(IBsRequestParamReply& param, IBsErrorInfo& error,
                                 IBsResponseWriteCallback* writer, void* writerContext,
                                 IBsProgressCallback* progress, void* progressContext) {
  const char* const address = param.getRequestUrl();
  const URL url = URL::FromString(textOrEmpty(address));
  if (!url.IsValid()) {
    error.setError(ErrorCode::urlInvalid, "url invalid");
    return resultFailed;
  }
  const OwnedNetworkClient client(creatNetworkClient());
  if (client == nullptr) {
    error.setError(ErrorCode::noNetworkClient, "create network request failed");
    return resultFailed;
  }
  client->setHeaders(headersOf(param, pubParam.get()));
  const char* const body = param.getRequestBody();
  if (body != nullptr) client->setBody(body);

  ParamProgress watch(param, progress);
  const long long timeout = timeoutMs >= 1 ? timeoutMs : defaultTimeoutMs;
  for (int attempt = 1;; ++attempt) {
    if (!applySettings(*client, timeout * attempt)) {
      error.setError(ErrorCode::paramInvalid, "param invalid");
      return resultFailed;
    }
    const NetReply reply = client->perform(url, body != nullptr ? httpPost : httpGet, writer, writerContext,
                                           &watch, progressContext);
    report(reply, writer == nullptr, param, error);
    if (error.errorCode() == ErrorCode::none) return resultOk;

    const bool isLast = attempt > retryTimes || needToRetry(error.errorCode(), &param) == 0;
    if (isLast || isAborted() || param.isAbord() != 0) break;
  }
  hookCallback(this, &param, &error);
  return resultFailed;
}

}  // namespace KBL
