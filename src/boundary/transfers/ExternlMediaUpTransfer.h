#pragma once

#include "boundary/transfers/HostTransfer.h"
#include "scripting/AuthNUploadObj.h"
#include <ExternlMediaTransfer/HostRecords.h>

#include <cstdarg>
#include <memory>
#include <mutex>

namespace KBL {

/// The host's handle to one upload. The host calls from one thread at a time, and from within events, which
/// come on workers. No event begins after the last Release, which stops the upload; outside every callback it
/// waits for the events that run.
class ExternlMediaUpTransfer final : public HostTransfer<ExternlMediaUpTransfer> {
 public:
  /// A new transfer under the host's first reference. Throws for want of memory.
  [[nodiscard]] static RefPtr<ExternlMediaUpTransfer> create(int transferPlatform);

  void* QueryInterfaceByName(const char* name) override;

 private:
  void fallSilent() override;
  void windUp() override;
  void logThrown(const char* what) override;

  std::int32_t start() override;
  std::int32_t stop() override;
  std::int32_t runCommand(int command, std::va_list arguments) override;
  std::int32_t runQuery(int command, std::va_list arguments) override;
  std::int32_t setHostRecord(const void* record);
  [[nodiscard]] std::shared_ptr<hostTransferRecord> hostRecord();

  std::mutex recordMutex_;                          // a leaf
  std::shared_ptr<hostTransferRecord> hostRecord_;  ///< of the last command 0; guarded by recordMutex_
  CAuthNUploadObj uploadObject_;
};

}  // namespace KBL
