#pragma once

#include "foundation/object/IDmBaseObj.h"

#include <cstdint>

namespace KBL {

/// The host's handle to one upload or download job: start, stop, and numbered commands whose arguments are
/// 64-bit values, read in order as pointers unless a command says otherwise. Results are values of _Result: 0
/// done, 2 a required pointer is null, 3 no object could serve, 5 unknown command. One thread at a time. Name
/// for QueryInterfaceByName: "IExternlMediaTransfer".
class IExternlMediaTransfer : public virtual IDmBaseObj {
 public:
  virtual std::int32_t Start() = 0;
  virtual std::int32_t Stop() = 0;
  virtual std::int32_t Command(int command, ...) = 0;
  virtual std::int32_t Query(int command, ...) = 0;

 protected:
  ~IExternlMediaTransfer() = default;
};

/// Upload events reach the host through this function: the context of command 15, the transfer, the event (7
/// progress, 8 finished, 9 token invalid, 12 error), a value (percent, 0, 0, the error's number) and a text
/// (null, the video address, a text, "code,message"). Called on worker or script threads; the text is
/// borrowed for the call. The result is ignored. The transfer may be released inside: the library holds a
/// reference of its own for the length of the call.
using TransferCallback = int (*)(void* context, IExternlMediaTransfer* transfer, int event, int value,
                                 const char* text);

}  // namespace KBL
