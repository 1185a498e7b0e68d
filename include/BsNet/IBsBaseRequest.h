#pragma once

#include <BsNet/ExchangeCallbacks.h>
#include <BsNet/IBsErrorInfo.h>
#include <BsNet/IBsRequestParamReply.h>
#include <BsNet/IBsRequstCallback.h>
#include <BsNet/createInfoObject.h>

namespace KBL {

/// A network request with its settings, callbacks and worker. Settings are made before the request is
/// started.
class KBL_INTERFACE IBsBaseRequest : public virtual IDmBaseObj {
 public:
  virtual _Result setServerProxy(IBsServerProxyInfo* proxy) = 0;  ///< takes a reference; null takes it away
  virtual IBsServerProxyInfo* getServerProxy() = 0;               ///< borrowed
  virtual _Result setPubParam(IBsPubInfo* info) = 0;              ///< takes a reference
  virtual IBsPubInfo* getPubParam() = 0;                          ///< borrowed
  virtual _Result setBearer(const char* token) = 0;
  virtual _Result setTimeout(int milliseconds) = 0;  ///< limit of one attempt
  virtual int getTimeout() = 0;
  virtual _Result setConnectTimeout(int milliseconds) = 0;
  virtual int getConnectTimeout() = 0;
  virtual _Result SetLowSpeed(int bytesPerSecond, int seconds) = 0;
  virtual _Result SetRetryTimes(int times) = 0;  ///< tries after the first; 0 until set
  virtual _Result setRequestName(const char* name) = 0;
  virtual const char* getRequestName() = 0;
  /// Adds a callback, which is not counted. `first` puts it ahead of the others. One pointer stands in the
  /// list once.
  virtual _Result addCallback(IBsRequstCallback* callback, bool first) = 0;
  virtual _Result removeCallback(IBsRequstCallback* callback) = 0;
  virtual _Result clearCallbacks() = 0;
  /// Runs the exchange that `param` describes on the calling thread, with retries.
  virtual _Result syncRequest(IBsRequestParamReply* param, IBsErrorInfo* error) = 0;
  virtual _Result syncRequestEx(IBsRequestParamReply* param, IBsErrorInfo* error,
                                IBsResponseWriteCallback* writer, void* writerContext,
                                IBsProgressCallback* progress, void* progressContext) = 0;
  /// The same on a worker thread; the callbacks hear of the end. References are held on all three meanwhile.
  /// `notifyStart` is kept for hosts and has no effect here.
  virtual _Result asyncRequest(IBsRequestParamReply* param, IBsErrorInfo* error, bool notifyStart) = 0;
  /// Waits for the worker to end (never from the worker itself) and lets its thread go.
  virtual _Result clearAsyncRequest() = 0;
  /// Sets the abort flag: no further try is made.
  virtual _Result abordAsyncRequest() = 0;
  /// Fetches `url` into the file `path` (UTF-8), which is replaced only by a complete download. 0 on success,
  /// else an error code.
  virtual int download(const char* url, const char* path, IBsProgressCallback* progress, void* context) = 0;

 protected:
  ~IBsBaseRequest() = default;
};

}  // namespace KBL
