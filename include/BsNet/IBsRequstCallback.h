#pragma once

#include <KblUtils/Export.h>
#include <KblUtils/Result.h>

namespace KBL {

class IBsBaseRequest;
class IBsErrorInfo;
class IBsInfoReader;

/// The end of every asynchronous flow. Not counted: whoever registers one keeps it alive.
class KBL_INTERFACE IBsRequstCallback {
 public:
  /// `request` finished or reports: `info` is the record of the exchange, its type tells what finished; an
  /// error code of 0 means success. All three are borrowed for the call. Called on a worker or timer thread,
  /// and by an operation that refuses at once on the caller's own.
  virtual _Result queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) = 0;

 protected:
  ~IBsRequstCallback() = default;
};

}  // namespace KBL
