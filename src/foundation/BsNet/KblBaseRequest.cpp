#include "foundation/BsNet/KblBaseRequest.h"

#include "foundation/BsNet/NetworkClients.h"
#include "foundation/BsNet/covertToErrorCode.h"
#include "foundation/object/CastByName.h"

#include <algorithm>
#include <utility>

namespace KBL {

KblBaseRequest::KblBaseRequest() = default;
KblBaseRequest::~KblBaseRequest() = default;

void* KblBaseRequest::QueryInterfaceByName(const char* interfaceName) {
  return castByName(this, interfaceName, Named<IBsRequstCallback>{"IBsRequstCallback"},
                    Named<IBsBaseRequest>{"IBsBaseRequest"});
}

_Result KblBaseRequest::setServerProxy(IBsServerProxyInfo* proxy) {
  serverProxy = shareRef(proxy);
  return resultOk;
}

IBsServerProxyInfo* KblBaseRequest::getServerProxy() {
  return serverProxy.get();
}

_Result KblBaseRequest::setPubParam(IBsPubInfo* info) {
  if (info == nullptr) return resultFailed;
  pubParam = shareRef(info);
  return resultOk;
}

IBsPubInfo* KblBaseRequest::getPubParam() {
  return pubParam.get();
}

_Result KblBaseRequest::setBearer(const char* token) {
  bearer_ = token != nullptr ? token : "";
  return resultOk;
}

_Result KblBaseRequest::setTimeout(int milliseconds) {
  timeoutMs = milliseconds;
  return resultOk;
}

int KblBaseRequest::getTimeout() {
  return timeoutMs;
}

_Result KblBaseRequest::setConnectTimeout(int milliseconds) {
  connectTimeoutMs_ = milliseconds;
  return resultOk;
}

int KblBaseRequest::getConnectTimeout() {
  return connectTimeoutMs_;
}

_Result KblBaseRequest::SetLowSpeed(int bytesPerSecond, int seconds) {
  lowSpeedBytes_ = bytesPerSecond;
  lowSpeedSeconds_ = seconds;
  return resultOk;
}

_Result KblBaseRequest::SetRetryTimes(int times) {
  retryTimes = std::max(times, 0);
  return resultOk;
}

_Result KblBaseRequest::setRequestName(const char* requestName) {
  if (requestName == nullptr) return resultFailed;
  name = requestName;
  return resultOk;
}

const char* KblBaseRequest::getRequestName() {
  return name.c_str();
}

_Result KblBaseRequest::addCallback(IBsRequstCallback* callback, bool first) {
  if (callback == nullptr) return resultFailed;
  const std::lock_guard lock(callbackMutex_);
  if (std::find(callbacks_.begin(), callbacks_.end(), callback) != callbacks_.end()) return resultOk;
  callbacks_.insert(first ? callbacks_.begin() : callbacks_.end(), callback);
  return resultOk;
}

_Result KblBaseRequest::removeCallback(IBsRequstCallback* callback) {
  const std::lock_guard lock(callbackMutex_);
  std::erase(callbacks_, callback);
  return resultOk;
}

_Result KblBaseRequest::clearCallbacks() {
  const std::lock_guard lock(callbackMutex_);
  callbacks_.clear();
  return resultOk;
}

std::vector<IBsRequstCallback*> KblBaseRequest::callbacks() {
  const std::lock_guard lock(callbackMutex_);
  return callbacks_;
}

bool KblBaseRequest::isRegistered(IBsRequstCallback* callback) {
  const std::lock_guard lock(callbackMutex_);
  return std::find(callbacks_.begin(), callbacks_.end(), callback) != callbacks_.end();
}

void KblBaseRequest::_callback(IBsInfoReader* info, IBsErrorInfo* error, bool reverse) {
  std::vector<IBsRequstCallback*> order = callbacks();
  if (reverse) std::reverse(order.begin(), order.end());
  for (IBsRequstCallback* const callback : order) {
    if (!isRegistered(callback)) continue;
    try {
      callback->queryResponse(this, info, error);
    } catch (...) {
      // A receiver that throws must not keep the others from hearing of the end.
    }
  }
}

_Result KblBaseRequest::queryResponse(IBsBaseRequest*, IBsInfoReader*, IBsErrorInfo*) {
  return resultOk;
}
bool KblBaseRequest::onProgress(long long, long long, long long, long long) {
  return true;
}
bool KblBaseRequest::onReplyStarted(int) {
  return true;
}

int KblBaseRequest::needToRetry(int errorCode, IBsRequestParamReply*) {
  constexpr int retriedStatuses[] = {408, 429, 500, 502, 503, 504};
  const bool isTransportFailure =
      errorCode > transportErrorBase && errorCode <= transportErrorBase + transportPending;
  const bool isRetriedStatus = std::find(std::begin(retriedStatuses), std::end(retriedStatuses), errorCode) !=
                               std::end(retriedStatuses);
  return isTransportFailure || isRetriedStatus ? 1 : 0;
}

_Result KblBaseRequest::hookCallback(IBsBaseRequest*, IBsInfoReader*, IBsErrorInfo*) {
  return resultOk;
}

INetworkClient* KblBaseRequest::creatNetworkClient() {
  return makeNetworkClient();
}

}  // namespace KBL
