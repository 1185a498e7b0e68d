#pragma once

#include <BsNet/IBsBaseRequest.h>
#include <BsNet/INetworkClient.h>
#include <KblUtils/RefCnt.h>
#include <KblUtils/RefPtr.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace KBL {

/// Base of every request: settings, callbacks, the abort flag and the worker thread. Request classes of the
/// library use the protected fields directly.
class KBL_BSNET_API KblBaseRequest : public RefCnt<KblBaseRequest>,
                                     public virtual IBsBaseRequest,
                                     public virtual IBsRequstCallback,
                                     public virtual IBsProgressCallback {
 public:
  KblBaseRequest();
  ~KblBaseRequest() override;

  void* QueryInterfaceByName(const char* interfaceName) override;  ///< "IBsRequstCallback", "IBsBaseRequest"

  _Result setServerProxy(IBsServerProxyInfo* proxy) override;
  IBsServerProxyInfo* getServerProxy() override;
  _Result setPubParam(IBsPubInfo* info) override;
  IBsPubInfo* getPubParam() override;
  _Result setBearer(const char* token) override;
  _Result setTimeout(int milliseconds) override;
  int getTimeout() override;
  _Result setConnectTimeout(int milliseconds) override;
  int getConnectTimeout() override;
  _Result SetLowSpeed(int bytesPerSecond, int seconds) override;
  _Result SetRetryTimes(int times) override;
  _Result setRequestName(const char* requestName) override;
  const char* getRequestName() override;
  _Result addCallback(IBsRequstCallback* callback, bool first) override;
  _Result removeCallback(IBsRequstCallback* callback) override;
  _Result clearCallbacks() override;
  _Result syncRequest(IBsRequestParamReply* param, IBsErrorInfo* error) override;
  _Result syncRequestEx(IBsRequestParamReply* param, IBsErrorInfo* error, IBsResponseWriteCallback* writer,
                        void* writerContext, IBsProgressCallback* progress, void* progressContext) override;
  _Result asyncRequest(IBsRequestParamReply* param, IBsErrorInfo* error, bool notifyStart) override;
  _Result clearAsyncRequest() override;
  _Result abordAsyncRequest() override;
  int download(const char* url, const char* path, IBsProgressCallback* progress, void* context) override;

  _Result queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) override;
  bool onProgress(long long downloadTotal, long long downloaded, long long uploadTotal,
                  long long uploaded) override;
  bool onReplyStarted(int httpCode) override;

  /// 1 when a failed try with this error code is worth another: transport failures and the statuses 408, 429,
  /// 500, 502, 503 and 504. 0 for everything else.
  virtual int needToRetry(int errorCode, IBsRequestParamReply* param);

  /// 1 unless a worker runs.
  int isAsyncRequestFinished();

  /// Hears of every failed exchange of the process; the reference foundation remembers nothing and returns
  /// resultOk.
  static _Result hookCallback(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error);

 protected:
  /// Calls every registered callback with this request, in order, without a lock. `reverse` calls the last
  /// one first. A callback that was removed meanwhile is not called any more.
  virtual void _callback(IBsInfoReader* info, IBsErrorInfo* error, bool reverse);

  /// A new network client, or null; the caller deletes it.
  INetworkClient* creatNetworkClient();

  /// Runs `work` on a new thread, exceptions caught. The handle is joinable; whoever lets go of it last
  /// detaches the thread, so dropping it never waits. Null when no thread could be made. Joined by
  /// `clearAsyncRequest`: where each shared library has a run-time library of its own, nobody else can.
  [[nodiscard]] static std::shared_ptr<std::thread> startThread(std::function<void()> work);

  /// The last thing that a worker does with its request: detaches its own thread, unless somebody waits for
  /// it already, so that a process which ends before the handle goes leaves no thread unjoined.
  void letOwnThreadGo();

  /// The registered callbacks as they stand now.
  [[nodiscard]] std::vector<IBsRequstCallback*> callbacks();
  /// Whether it is registered now; needs no memory.
  [[nodiscard]] bool isRegistered(const IBsRequstCallback* callback);

  std::string name;                        ///< request name; set before the request is shared
  RefPtr<IBsServerProxyInfo> serverProxy;  ///< null: no proxy
  RefPtr<IBsPubInfo> pubParam;
  int timeoutMs = 0;  ///< limit of one attempt; below 1: 30000
  int retryTimes = 0;
  std::mutex abortMutex;  ///< guards abortFlag
  int abortFlag = 0;
  std::mutex asyncMutex;  ///< guards asyncThread and asyncRunning
  std::shared_ptr<std::thread> asyncThread;
  bool asyncRunning = false;  ///< a worker runs; written under asyncMutex

 private:
  /// Fills `room` with the registered callbacks; how many, or 0 where it is too small. Needs no memory.
  [[nodiscard]] std::size_t copyCallbacks(IBsRequstCallback** room, std::size_t size);
  bool isAborted();
  _Result runTries(IBsRequestParamReply& param, IBsErrorInfo& error, IBsResponseWriteCallback* writer,
                   void* writerContext, IBsProgressCallback* progress, void* progressContext);
  /// False when the host ordered a proxy of an unknown kind.
  [[nodiscard]] bool applySettings(INetworkClient& client, long long totalTimeoutMs);

  std::mutex callbackMutex_;  // a leaf: held for a copy or an edit of the list alone
  std::vector<IBsRequstCallback*> callbacks_;
  std::string bearer_;
  int connectTimeoutMs_ = 0;
  int lowSpeedBytes_ = 0;
  int lowSpeedSeconds_ = 0;
};

}  // namespace KBL
