#pragma once

#include "scripting/UploadEventSink.h"
#include "scripting/python/PythonAuObject.h"
#include "scripting/python/ScriptEventEntry.h"
#include "uploaders/proxies/UploadPlatform.h"
#include <ExternlMediaTransfer/HostRecords.h>
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

namespace KBL {

/// Warns that `caller` is obsolete and answers true, where the platform is native and its manager exists;
/// everywhere else the call stays alive.
[[nodiscard]] bool warnObsolete(int platform, const char* caller);

/// The one object behind an upload transfer. Call by call it chooses what serves the platform: the native
/// proxy wherever the platform's manager exists, a script object otherwise; without that, too, the answer is
/// resultNoObject. With a manager the calls of the script age are obsolete: they warn and do nothing.
///
/// The transfer's thread calls the operations, and StopUpload may come on any other; `userCallBack` comes on
/// workers and on threads of scripts. The host configures before it starts. Its end stops a native upload and
/// calls nothing in the script.
class CAuthNUploadObj final {
 public:
  CAuthNUploadObj();
  ~CAuthNUploadObj();
  CAuthNUploadObj(const CAuthNUploadObj&) = delete;
  CAuthNUploadObj& operator=(const CAuthNUploadObj&) = delete;

  // In the order of the slots. Results are values of _Result, or the proxy's. A text for the script that is
  // no UTF-8 gives 2, and the script is not called.
  /// Once. The first one of a process loads the script.
  virtual std::int32_t SetPlatform(std::uint32_t platform);
  /// 5 for an unknown brand.
  virtual std::int32_t SetAppBrand(int brand);
  /// `url` has room for `loginUrlRoom` bytes. 2 when the script gave none.
  virtual std::int32_t GetLoginURL(char* url);
  virtual std::int32_t Logout();
  /// 0 accepted, 2 not usable, 1 failed, with the script's text in `error`, which has room for
  /// `errorTextRoom` bytes. An obsolete call says so there, if it is not null.
  virtual std::int32_t VerifyRedirectURL(const char* url, char* error);
  /// 1 refused. The script's text is always copied to `error`, with the same room. An obsolete call says so
  /// there, if it is not null.
  virtual std::int32_t SetAccessToken(const char* token, char* error);
  /// 1, and the record untouched, when nobody is signed in at the script.
  virtual std::int32_t GetUserInfo(hostAccountRecord* record);
  virtual std::int32_t SetCallback(TransferCallback callback);
  /// Returns when the upload was handed over; the outcome comes through `userCallBack` alone.
  virtual std::int32_t StartUpload(hostTransferRecord* record);
  virtual std::int32_t StopUpload();
  virtual std::int32_t SetAppIdAndSecret(const char* id, const char* secret, const char* redirectUrl);
  virtual std::int32_t PushMessage(hostShareRecord* record);

  /// Bytes that texts of scripts may take in a host's buffers, their terminators included; the rest is cut.
  static constexpr std::size_t loginUrlRoom = 8192;
  static constexpr std::size_t errorTextRoom = 1024;

  void setHostContext(void* context) { events_->setHostContext(context); }
  [[nodiscard]] void* hostContext() const { return events_->hostContext(); }
  /// The transfer that owns this object and that the host is told with each event.
  void setTransfer(std::weak_ptr<IExternlMediaTransfer> transfer) {
    events_->setTransfer(std::move(transfer));
  }
  /// The way of all events to the host; outlives this object.
  [[nodiscard]] std::shared_ptr<UploadEventSink> events() const { return events_; }
  /// Tells the host what happened; see IUploadEventSink.
  void userCallBack(unsigned code, const char* text, int value) const {
    events_->userCallBack(code, text, value);
  }
  /// From now on nothing reaches the host; a native upload is told to stop, and none starts any more. Never
  /// throws. The destructor does the same, if nobody did.
  void end();

 private:
  /// The proxy, made on first need; null while the platform has no manager or is not native.
  std::shared_ptr<IPlatformUploadProxy> ensureProxy();
  /// The proxy that stands, or null.
  std::shared_ptr<IPlatformUploadProxy> proxy();

  std::unique_ptr<CPythonAuObject> script_;  ///< null until SetPlatform, and for platforms without scripts
  std::int32_t platform_ = -1;
  std::shared_ptr<UploadEventSink> events_;
  ScriptEventHandle scriptHandle_;
  std::mutex proxyMutex_;  // a leaf; a stop may come from another upload's event
  std::shared_ptr<IPlatformUploadProxy> proxy_;
  bool ended_ = false;
};

}  // namespace KBL
