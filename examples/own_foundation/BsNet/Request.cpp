// The base of every request: settings, callbacks, the worker, and the plain exchange and download that hosts
// may use. The library's own requests run exchanges of their own over `creatNetworkClient`.
#include "NetworkClient.h"
#include <BsNet/BsErrorInfo.h>
#include <BsNet/IBodySource.h>
#include <BsNet/KblBaseRequest.h>
#include <BsNet/NetKeys.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/FileStream.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/HostCode.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <utility>

namespace KBL {

KblBaseRequest::KblBaseRequest() = default;
KblBaseRequest::~KblBaseRequest() = default;

void* KblBaseRequest::QueryInterfaceByName(const char* interfaceName) {
  return castByName(this, interfaceName, Named<IBsRequstCallback>{"IBsRequstCallback"},
                    Named<IBsBaseRequest>{"IBsBaseRequest"});
}

// --- Settings

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
  retryTimes = (std::max)(times, 0);
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

// --- Callbacks

_Result KblBaseRequest::addCallback(IBsRequstCallback* callback, bool first) {
  if (callback == nullptr) return resultFailed;
  const std::lock_guard<std::mutex> lock(callbackMutex_);
  if (std::find(callbacks_.begin(), callbacks_.end(), callback) == callbacks_.end()) {
    callbacks_.insert(first ? callbacks_.begin() : callbacks_.end(), callback);
  }
  return resultOk;
}
_Result KblBaseRequest::removeCallback(IBsRequstCallback* callback) {
  const std::lock_guard<std::mutex> lock(callbackMutex_);
  callbacks_.erase(std::remove(callbacks_.begin(), callbacks_.end(), callback), callbacks_.end());
  return resultOk;
}
_Result KblBaseRequest::clearCallbacks() {
  const std::lock_guard<std::mutex> lock(callbackMutex_);
  callbacks_.clear();
  return resultOk;
}
std::vector<IBsRequstCallback*> KblBaseRequest::callbacks() {
  const std::lock_guard<std::mutex> lock(callbackMutex_);
  return callbacks_;
}
bool KblBaseRequest::isRegistered(const IBsRequstCallback* callback) {
  const std::lock_guard<std::mutex> lock(callbackMutex_);
  return std::find(callbacks_.begin(), callbacks_.end(), callback) != callbacks_.end();
}

void KblBaseRequest::_callback(IBsInfoReader* info, IBsErrorInfo* error, bool reverse) {
  std::vector<IBsRequstCallback*> order = callbacks();
  if (reverse) std::reverse(order.begin(), order.end());
  for (IBsRequstCallback* const callback : order) {
    if (!isRegistered(callback)) continue;  // an earlier one removed it
    runHostCode([&] { callback->queryResponse(this, info, error); }, [](const char*) {});
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
_Result KblBaseRequest::hookCallback(IBsBaseRequest*, IBsInfoReader*, IBsErrorInfo*) {
  return resultOk;
}

int KblBaseRequest::needToRetry(int errorCode, IBsRequestParamReply*) {
  const bool isTransport =
      errorCode > transportErrorBase && errorCode <= transportErrorBase + transportPending;
  switch (errorCode) {
    case 408:
    case 429:
    case 500:
    case 502:
    case 503:
    case 504:
      return 1;
    default:
      return isTransport ? 1 : 0;
  }
}

INetworkClient* KblBaseRequest::creatNetworkClient() try {
  return makeOwnNetworkClient();
} catch (const std::exception&) {
  return nullptr;
}

IBodySourceClient* bodySourceClient(INetworkClient*) {
  return nullptr;  // bodies come as texts
}

// --- The worker

std::shared_ptr<std::thread> KblBaseRequest::startThread(std::function<void()> work) try {
  const auto letGo = [](std::thread* thread) {
    if (thread->joinable()) thread->detach();
    delete thread;
  };
  std::shared_ptr<std::thread> handle(new std::thread, letGo);
  *handle = std::thread([work = std::move(work)]() mutable {
    try {
      work();
      work = nullptr;
    } catch (...) {
      passThreadEnd();
    }
  });
  return handle;
} catch (const std::exception&) {
  return nullptr;
}

void KblBaseRequest::letOwnThreadGo() {
  const std::lock_guard<std::mutex> lock(asyncMutex);
  if (asyncThread && asyncThread->get_id() == std::this_thread::get_id()) asyncThread->detach();
}

_Result KblBaseRequest::asyncRequest(IBsRequestParamReply* param, IBsErrorInfo* error, bool) {
  if (param == nullptr || error == nullptr) return resultFailed;
  const std::lock_guard<std::mutex> lock(asyncMutex);
  if (asyncRunning) return resultFailed;
  {
    const std::lock_guard<std::mutex> abortLock(abortMutex);
    abortFlag = 0;
  }
  auto thread = startThread([self = shareRef(this), param = shareRef(param), error = shareRef(error)] {
    self->syncRequest(param.get(), error.get());
    {
      const std::lock_guard<std::mutex> runLock(self->asyncMutex);
      self->asyncRunning = false;
    }
    self->_callback(param.get(), error.get(), false);
    self->letOwnThreadGo();
  });
  if (!thread) return resultFailed;
  asyncRunning = true;  // the worker waits for the lock before it says otherwise
  asyncThread = std::move(thread);
  return resultOk;
}

_Result KblBaseRequest::clearAsyncRequest() {
  std::shared_ptr<std::thread> thread;
  {
    const std::lock_guard<std::mutex> lock(asyncMutex);
    thread.swap(asyncThread);
  }
  if (thread && thread->joinable() && thread->get_id() != std::this_thread::get_id()) thread->join();
  return resultOk;
}

_Result KblBaseRequest::abordAsyncRequest() {
  const std::lock_guard<std::mutex> lock(abortMutex);
  abortFlag = 1;
  return resultOk;
}

bool KblBaseRequest::isAborted() {
  const std::lock_guard<std::mutex> lock(abortMutex);
  return abortFlag != 0;
}

int KblBaseRequest::isAsyncRequestFinished() {
  const std::lock_guard<std::mutex> lock(asyncMutex);
  return asyncRunning ? 0 : 1;
}

// --- The plain exchange

namespace {

constexpr int standardTimeoutMs = 30000;

/// The host's proxy as IBsServerProxyInfo tells it; false for one of an unknown kind.
bool applyProxy(INetworkClient& client, IBsServerProxyInfo* proxy) {
  if (proxy == nullptr || proxy->intKeyConfig(ServerProxyIntKey::mode) == 1) return true;
  const long long type = proxy->intKeyConfig(ServerProxyIntKey::type);
  const long long port = proxy->intKeyConfig(ServerProxyIntKey::port);
  const char* const server = proxy->charKeyConfig(ServerProxyCharKey::server);
  const char* const user = proxy->charKeyConfig(ServerProxyCharKey::user);
  const char* const password = proxy->charKeyConfig(ServerProxyCharKey::password);
  const bool isWhole = server != nullptr && user != nullptr && password != nullptr;
  if (!isWhole || type < proxyHttp || port < 1 || port > 65535) return true;
  if (type > proxySocks5) return false;
  client.setProxy(static_cast<int>(type), server, static_cast<int>(port), user, password);
  return true;
}

std::map<std::string, std::string> headersOf(IBsRequestParamReply& param, IBsPubInfo* info) {
  std::map<std::string, std::string> headers;
  if (param.getPubParam() != nullptr) info = param.getPubParam();
  for (const char* const key : {PubCharKey::clientType, PubCharKey::clientSn, PubCharKey::appKey,
                                PubCharKey::prodId, PubCharKey::prodVer, PubCharKey::ver, PubCharKey::lang}) {
    const char* const value = info != nullptr ? info->charKeyConfig(key) : nullptr;
    if (value != nullptr) headers[key] = value;
  }
  if (param.getBodyType() == bodyJson) headers["Content-Type"] = "application/json";
  if (param.getBodyType() == bodyForm) headers["Content-Type"] = "application/x-www-form-urlencoded";
  std::istringstream lines(param.getRequestheads() != nullptr ? param.getRequestheads() : "");
  for (std::string line; std::getline(lines, line);) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos || colon == 0) continue;
    const std::size_t value = line.find_first_not_of(" \t", colon + 1);
    headers[line.substr(0, colon)] = value == std::string::npos ? "" : line.substr(value);
  }
  return headers;
}

/// Ends the exchange when its parameters are aborted, too.
struct WatchedParam final : IBsProgressCallback {
  WatchedParam(IBsRequestParamReply& given, IBsProgressCallback* behind) : param(given), next(behind) {}
  bool onProgress(long long a, long long b, long long c, long long d) override {
    return param.isAbord() == 0 && (next == nullptr || next->onProgress(a, b, c, d));
  }
  bool onReplyStarted(int code) override { return next == nullptr || next->onReplyStarted(code); }

  IBsRequestParamReply& param;
  IBsProgressCallback* const next;
};

/// A file that is being fetched, under a name of its own.
struct FetchedFile final : IBsResponseWriteCallback {
  bool onResponseData(const char* data, unsigned long long size, void*) override {
    return stream.write(data, size);
  }
  FileStream stream;
};

}  // namespace

bool KblBaseRequest::applySettings(INetworkClient& client, long long totalTimeoutMs) {
  client.setTotalTimeout(static_cast<int>((std::min)(totalTimeoutMs, 0x7FFFFFFFLL)));
  client.setConnectTimeout(connectTimeoutMs_);
  client.setLowSpeed(lowSpeedBytes_, lowSpeedSeconds_);
  client.setBearerToken(bearer_);
  return applyProxy(client, serverProxy.get());
}

_Result KblBaseRequest::syncRequest(IBsRequestParamReply* param, IBsErrorInfo* error) {
  return syncRequestEx(param, error, nullptr, nullptr, nullptr, nullptr);
}

_Result KblBaseRequest::syncRequestEx(IBsRequestParamReply* param, IBsErrorInfo* error,
                                      IBsResponseWriteCallback* writer, void* writerContext,
                                      IBsProgressCallback* progress, void* progressContext) {
  if (param == nullptr || error == nullptr) return resultFailed;
  error->setError(ErrorCode::none, "");
  return runTries(*param, *error, writer, writerContext, progress, progressContext);
}

_Result KblBaseRequest::runTries(IBsRequestParamReply& param, IBsErrorInfo& error,
                                 IBsResponseWriteCallback* writer, void* writerContext,
                                 IBsProgressCallback* progress, void* progressContext) {
  const auto failed = [&error](int code, const std::string& message) {
    error.setError(code, message.c_str());
    return resultFailed;
  };
  const URL url = URL::FromString(param.getRequestUrl() != nullptr ? param.getRequestUrl() : "");
  if (!url.IsValid()) return failed(ErrorCode::urlInvalid, "url invalid");
  const OwnedNetworkClient client(creatNetworkClient());
  if (!client) return failed(ErrorCode::noNetworkClient, "create network request failed");
  client->setHeaders(headersOf(param, pubParam.get()));
  const char* const body = param.getRequestBody();
  if (body != nullptr) client->setBody(body);
  WatchedParam watched(param, progress);
  for (int attempt = 1;; ++attempt) {
    const long long limit =
        (timeoutMs >= 1 ? timeoutMs : standardTimeoutMs) * static_cast<long long>(attempt);
    if (!applySettings(*client, limit)) return failed(ErrorCode::paramInvalid, "param invalid");
    const NetReply reply = client->perform(url, body != nullptr ? httpPost : httpGet, writer, writerContext,
                                           &watched, progressContext);
    if (auto* const ours = dynamic_cast<BsErrorInfo*>(&error)) ours->setOriginCode(reply.resultCode);
    if (writer == nullptr && reply.resultCode == 0) {
      param.parseResponse(reply.content.data(), static_cast<long long>(reply.content.size()));
    }
    const bool isAnswered = reply.resultCode == 0;
    if (isAnswered && reply.httpCode / 100 == 2) {
      error.setError(ErrorCode::none, "");
      return resultOk;
    }
    const int code = isAnswered ? reply.httpCode : covertToErrorCode(&reply.resultCode);
    failed(code, isAnswered ? reply.content : reply.errorMessage);
    const bool isLast = attempt > retryTimes || needToRetry(code, &param) == 0;
    if (isLast || isAborted() || param.isAbord() != 0) return resultFailed;
  }
}

int KblBaseRequest::download(const char* url, const char* path, IBsProgressCallback* progress,
                             void* context) {
  constexpr int writeFailed = transportErrorBase + 23;
  constexpr long long longestMs = 6LL * 3600 * 1000;
  if (path == nullptr || *path == '\0') return ErrorCode::paramInvalid;
  const URL address = URL::FromString(url != nullptr ? url : "");
  if (!address.IsValid()) return ErrorCode::urlInvalid;
  const OwnedNetworkClient client(creatNetworkClient());
  if (!client) return ErrorCode::noNetworkClient;
  if (!applySettings(*client, timeoutMs >= 1 ? timeoutMs : longestMs)) return ErrorCode::paramInvalid;
  const std::string part = std::string(path) + ".part";
  FetchedFile file;
  if (!file.stream.open(Path(part), "wb")) return writeFailed;
  const NetReply reply = client->perform(address, httpGet, &file, nullptr, progress, context);
  const bool isWhole = file.stream.close() && reply.resultCode == 0 && reply.httpCode / 100 == 2 &&
                       std::rename(part.c_str(), path) == 0;
  if (isWhole) return ErrorCode::none;
  FileUtil::remove(Path(part));
  if (reply.resultCode != 0) return covertToErrorCode(&reply.resultCode);
  return reply.httpCode / 100 == 2 ? writeFailed : reply.httpCode;
}

}  // namespace KBL
