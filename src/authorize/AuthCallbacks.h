#pragma once

#include "foundation/object/HostCalls.h"
#include "foundation/object/Snapshot.h"
#include <BsNet/IBsRequstCallback.h>
#include <ExternlMediaTransfer/IExternlMediaAuthCallback.h>

#include <functional>
#include <string>
#include <vector>

namespace KBL {

/// The host's callbacks of one manager, in the order of their registration; none is counted. No lock is held
/// while one runs, and none begins once `close` has returned. Any thread.
class AuthCallbacks {
 public:
  /// Made of a reference to what is called, so that an answer reaches the host without memory.
  using Tell = std::function<void(IExternlMediaAuthCallback&)>;

  /// `logTag` outlives the object.
  explicit AuthCallbacks(const std::string& logTag) : logTag_(logTag) {}

  /// Changes nothing for one that stands in the list.
  void add(IExternlMediaAuthCallback* callback);
  /// Outside callbacks it returns when no call on that object runs.
  void remove(IExternlMediaAuthCallback* callback);
  [[nodiscard]] std::vector<IExternlMediaAuthCallback*> list() const { return *list_.read(); }

  /// Calls every callback, for as long as the flow that this thread works for is not canceled: each that
  /// stands in the list right before its call.
  void tell(const Tell& tell);
  /// The same, for as long as `wanted` says so, which is asked right before each call, under a leaf lock.
  void tellWhile(const std::function<bool()>& wanted, const Tell& tell);
  /// `queryResponse` of every callback.
  void forward(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error);

  void close() { hostCalls_.close(); }
  /// Every callback that begins once this has returned sees in `wanted`, or in its flow, what the caller
  /// changed before.
  void settle() { hostCalls_.settle(); }
  /// Writes the line about a callback that threw.
  void logThrown(const char* what) const;

 private:
  const std::string& logTag_;
  Snapshot<std::vector<IExternlMediaAuthCallback*>> list_;
  HostCalls hostCalls_;  ///< by the address of the callback
};

}  // namespace KBL
