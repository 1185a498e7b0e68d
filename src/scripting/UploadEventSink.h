#pragma once

#include "foundation/object/HostCalls.h"
#include "uploaders/proxies/IUploadEventSink.h"
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace KBL {

/// The way to the host: its function, its context and the transfer. Shared with everybody who reports, so
/// that it outlives the transfer, which may get its last Release inside its own callback or while a worker is
/// about to call it. The transfer's core is held for the length of a call, and no call begins once this is
/// closed. Any thread.
class UploadEventSink final : public IUploadEventSink {
 public:
  void setCallback(TransferCallback callback);
  void setHostContext(void* context);
  [[nodiscard]] void* hostContext() const;
  /// What the host is told with each event, null before.
  void setTransfer(std::weak_ptr<IExternlMediaTransfer> transfer);

  /// From now on nothing reaches the host but what runs.
  void close();
  [[nodiscard]] bool noneRuns() { return workersCalls_.none() && scriptsCalls_.none(); }
  /// Returns when no call of the host's function runs; not to be called inside one. An interpreter that has
  /// ended may keep a thread that came back to it inside such a call for ever: behind its end scripts' calls
  /// are given up after 5 s.
  void waitUntilNoneRuns();

  void userCallBack(unsigned code, const char* text, int value) override;

 private:
  [[nodiscard]] bool hasCallback() const;
  /// Calls the host's function, unless there is none or this was closed.
  void tellHost(TransferEvent event, int value, const char* text);

  mutable std::mutex mutex_;  // a leaf: held for a copy or an edit alone
  TransferCallback callback_ = nullptr;
  void* context_ = nullptr;
  std::weak_ptr<IExternlMediaTransfer> transfer_;
  HostCalls workersCalls_;
  HostCalls scriptsCalls_;                     ///< on threads with script code on the stack
  std::atomic<std::uint64_t> scriptsLife_{0};  ///< of the interpreter that they came from last
};

}  // namespace KBL
