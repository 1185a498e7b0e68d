#pragma once

#include "authorize/switchboard/IExternlMediaTransfer.h"
#include "foundation/object/RefPtr.h"
#include "uploaders/IUploadEventSink.h"

#include <mutex>
#include <optional>

namespace KBL {

/// Events of an upload transfer as the host knows them.
enum TransferEvent : int {
  transferEventProgress = 7,
  transferEventFinished = 8,
  transferEventTokenInvalid = 9,
  transferEventError = 12,
};

/// The way to the host: its function, its context and the transfer. Shared with everybody who reports, so
/// that it outlives the transfer, which may get its last Release inside its own callback or while a worker is
/// about to call it. The transfer is held by a reference for the length of a call, and no call begins after
/// its last Release. Any thread.
class UploadEventSink final : public IUploadEventSink {
 public:
  void setCallback(TransferCallback callback);
  void setHostContext(void* context);
  [[nodiscard]] void* hostContext() const;
  /// Borrowed; the transfer takes itself away with `releaseTransfer`.
  void setTransfer(IExternlMediaTransfer* transfer);

  /// Runs `decrement`, which gives one of the transfer's references back and returns the new count, in one
  /// step against the calls: at zero the sink is closed. Returns what `decrement` returned.
  template <class Decrement>
  int releaseTransfer(Decrement decrement) {
    const std::lock_guard lock(mutex_);
    const int left = decrement();
    if (left == 0) closed_ = true;
    return left;
  }

  /// From now on nothing reaches the host.
  void close();

  void userCallBack(unsigned code, const char* text, int value) override;

 private:
  struct HostCall {
    TransferCallback callback;
    void* context;
    RefPtr<IExternlMediaTransfer> transfer;

    void operator()(TransferEvent event, int value, const char* text) const {
      callback(context, transfer.get(), event, value, text);
    }
  };

  /// What a call needs; nothing when the host gave no function or the transfer has gone.
  [[nodiscard]] std::optional<HostCall> hostCall() const;

  mutable std::mutex mutex_;  // a leaf: held for a copy, an edit or a count alone
  TransferCallback callback_ = nullptr;
  void* context_ = nullptr;
  IExternlMediaTransfer* transfer_ = nullptr;
  bool closed_ = false;
};

}  // namespace KBL
