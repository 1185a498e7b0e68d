#pragma once

#include "authorize/ManagerState.h"
#include <ExternlMediaTransfer/RecordInterfaces.h>

namespace KBL {

/// Starts the chain of requests that every native upload runs, for the user whom `info` names; `callback`
/// (null allowed, not counted) hears of each, and a nonzero `consume` puts the usage-entitlement query before
/// the upload. What keeps it from starting is told to the host. Any thread.
void startUpload(ManagerState& state, IBsExternlMediaUploadInfo* info, IBsRequstCallback* callback,
                 int consume);

}  // namespace KBL
