#pragma once

#include <ExternlMediaTransfer/IExternlMediaAuthCallback.h>
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>

namespace host {

/// The program's ear at the managers, which puts everything into the event queue. One object for the process,
/// never destroyed, since managers do not count their callbacks.
[[nodiscard]] KBL::IExternlMediaAuthCallback& authCallbacks();

/// The program's ear at upload transfers: a KBL::TransferCallback. Needs no context.
int onTransferEvent(void* context, KBL::IExternlMediaTransfer* transfer, int event, int value,
                    const char* text);

}  // namespace host
