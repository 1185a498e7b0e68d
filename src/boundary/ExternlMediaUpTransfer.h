#pragma once

#include "authorize/switchboard/IExternlMediaTransfer.h"
#include "boundary/records/HostRecords.h"
#include "foundation/object/RefCnt.h"
#include "scripting/AuthNUploadObj.h"

#include <cstdarg>
#include <memory>

namespace KBL {

/// The host's handle to one upload. No lock: the host calls from one thread at a time, events come on
/// workers. The last Release, which may come inside the transfer's own callback, stops the upload and waits
/// for nothing; no event begins after it.
class ExternlMediaUpTransfer final : public IExternlMediaTransfer, public RefCnt<CountedTag> {
 public:
  explicit ExternlMediaUpTransfer(int transferPlatform);
  ~ExternlMediaUpTransfer() override;

  int Release() override;
  void* QueryInterfaceByName(const char* name) override;  ///< "IExternlMediaTransfer"

  std::int32_t Start() override;
  std::int32_t Stop() override;
  std::int32_t Command(int command, ...) override;
  std::int32_t Query(int command, ...) override;

 private:
  std::int32_t runCommand(CAuthNUploadObj& object, int command, std::va_list arguments);
  static std::int32_t runQuery(CAuthNUploadObj& object, int command, std::va_list arguments);
  std::int32_t setHostRecord(const void* record);

  // Each operation shares what it needs, since an event that comes meanwhile may bring the last Release, and
  // touches nothing else of the transfer once the upload object has begun to serve it.
  std::shared_ptr<hostTransferRecord> hostRecord_;  ///< of the last command 0
  std::shared_ptr<CAuthNUploadObj> uploadObject_;   ///< never null
};

}  // namespace KBL
