#pragma once

#include "foundation/neverFreed.h"
#include "uploaders/proxies/UploadEventReporter.h"
#include <BsNet/IBsRequstCallback.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace KBL {

/// Who hears of one operation.
struct UploadCallbackEntry {
  std::string name;                          ///< a copy of the key
  std::weak_ptr<UploadEventReporter> token;  ///< the life token of the proxy that entered itself last
};

/// What requests hold as their callback in place of a proxy, since a request can outlive it: one process-wide
/// object for each class of proxies. The proxy that was constructed last owns the events of all proxies of
/// its class, and when that one is destroyed, the events of all of them stop; hosts rely on it.
class UploadCallbackProxy : public virtual IBsRequstCallback {
 public:
  /// Enters a proxy by its life token in place of the former one.
  void enter(const std::shared_ptr<UploadEventReporter>& lifeToken);
  /// Forwards to the proxy that was entered last; 1 when there is none or it is gone.
  _Result queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) override;
  /// From now on nothing is forwarded.
  void close() { closed_ = true; }

 protected:
  UploadCallbackProxy() = default;
  ~UploadCallbackProxy() = default;

 private:
  std::atomic<bool> closed_{false};
  std::mutex mutex_;  // a leaf: held for a look-up or an edit alone
  std::map<std::string, UploadCallbackEntry> callbacks_;
};

/// The one object of a class of callback proxies: made on first use, closed at exit, never freed, since
/// workers may still run then.
template <class CallbackProxy>
CallbackProxy& processInstance() {
  struct CloseAtExit {
    CallbackProxy& callbacks;
    ~CloseAtExit() { callbacks.close(); }
  };
  static CallbackProxy& instance = neverFreed<CallbackProxy>();
  static const CloseAtExit closeAtExit{instance};
  return instance;
}

}  // namespace KBL
