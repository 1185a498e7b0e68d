#include "foundation/Texts.h"
#include <BsNet/KblBaseRequest.h>
#include <BsNet/NetReply.h>
#include <BsNet/NetworkClients.h>
#include <KblLogger/KblLogger.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/HostCode.h>

#include <algorithm>
#include <array>
#include <new>
#include <span>
#include <utility>
#include <vector>

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

_Result KblBaseRequest::setBearer(const char* token) try {
  bearer_ = textOrEmpty(token);
  return resultOk;
} catch (const std::bad_alloc&) {
  return resultFailed;
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

_Result KblBaseRequest::setRequestName(const char* requestName) try {
  if (requestName == nullptr) return resultFailed;
  name = requestName;
  return resultOk;
} catch (const std::bad_alloc&) {
  return resultFailed;
}

const char* KblBaseRequest::getRequestName() {
  return name.c_str();
}

_Result KblBaseRequest::addCallback(IBsRequstCallback* callback, bool first) try {
  if (callback == nullptr) return resultFailed;
  const std::lock_guard lock(callbackMutex_);
  if (std::find(callbacks_.begin(), callbacks_.end(), callback) != callbacks_.end()) return resultOk;
  callbacks_.insert(first ? callbacks_.begin() : callbacks_.end(), callback);
  return resultOk;
} catch (const std::bad_alloc&) {
  return resultFailed;
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

std::size_t KblBaseRequest::copyCallbacks(IBsRequstCallback** room, std::size_t size) {
  const std::lock_guard lock(callbackMutex_);
  if (callbacks_.size() > size) return 0;
  std::copy(callbacks_.begin(), callbacks_.end(), room);
  return callbacks_.size();
}

bool KblBaseRequest::isRegistered(const IBsRequstCallback* callback) {
  const std::lock_guard lock(callbackMutex_);
  return std::find(callbacks_.begin(), callbacks_.end(), callback) != callbacks_.end();
}

void KblBaseRequest::_callback(IBsInfoReader* info, IBsErrorInfo* error, bool reverse) {
  // An answer needs no memory: a request has a handful of callbacks, and only more than these would take
  // some.
  std::array<IBsRequstCallback*, 8> few{};
  std::vector<IBsRequstCallback*> many;
  std::span<IBsRequstCallback*> order(few.data(), copyCallbacks(few.data(), few.size()));
  if (order.empty()) {
    many = callbacks();
    order = many;
  }
  if (reverse) std::reverse(order.begin(), order.end());
  for (IBsRequstCallback* const callback : order) {
    if (!isRegistered(callback)) continue;
    try {
      callback->queryResponse(this, info, error);
    } catch (...) {
      passThreadEnd();
      // It must not keep the others from hearing of the end.
      KBL_LOG(severityError, name << ", a callback threw");
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

// --- The worker thread and the abort flag

std::shared_ptr<std::thread> KblBaseRequest::startThread(std::function<void()> work) {
  const auto detachAndDelete = [](std::thread* thread) {
    if (thread->joinable()) thread->detach();
    delete thread;
  };
  try {
    // The handle stands before the thread runs, so that short memory cannot leave a thread without one.
    std::shared_ptr<std::thread> handle(new std::thread, detachAndDelete);
    *handle = std::thread([work = std::move(work)]() mutable {
      try {
        work();
        work = nullptr;
      } catch (...) {
        passThreadEnd();
      }
    });
    return handle;
  } catch (...) {
    return nullptr;
  }
}

void KblBaseRequest::letOwnThreadGo() {
  const std::lock_guard lock(asyncMutex);
  if (asyncThread != nullptr && asyncThread->get_id() == std::this_thread::get_id()) asyncThread->detach();
}

_Result KblBaseRequest::asyncRequest(IBsRequestParamReply* param, IBsErrorInfo* error, bool) try {
  if (param == nullptr || error == nullptr) return resultFailed;
  const std::lock_guard lock(asyncMutex);
  if (asyncRunning) return resultFailed;
  {
    const std::lock_guard abortLock(abortMutex);
    abortFlag = 0;
  }
  auto thread = startThread([self = shareRef(this), param = shareRef(param), error = shareRef(error)] {
    self->syncRequest(param.get(), error.get());
    {
      const std::lock_guard runLock(self->asyncMutex);
      self->asyncRunning = false;  // a callback may start the next run
    }
    self->_callback(param.get(), error.get(), false);
    self->letOwnThreadGo();
  });
  if (thread == nullptr) return resultFailed;
  asyncRunning = true;  // the worker takes the lock before it says otherwise
  asyncThread = std::move(thread);
  return resultOk;
} catch (const std::bad_alloc&) {
  return resultFailed;
}

_Result KblBaseRequest::clearAsyncRequest() {
  std::shared_ptr<std::thread> thread;
  {
    const std::lock_guard lock(asyncMutex);
    thread = std::exchange(asyncThread, nullptr);
  }
  if (thread != nullptr && thread->joinable() && thread->get_id() != std::this_thread::get_id())
    thread->join();
  return resultOk;
}

_Result KblBaseRequest::abordAsyncRequest() {
  const std::lock_guard lock(abortMutex);
  abortFlag = 1;
  return resultOk;
}

bool KblBaseRequest::isAborted() {
  const std::lock_guard lock(abortMutex);
  return abortFlag != 0;
}

int KblBaseRequest::isAsyncRequestFinished() {
  const std::lock_guard lock(asyncMutex);
  return asyncRunning ? 0 : 1;
}

}  // namespace KBL
