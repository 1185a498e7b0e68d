#pragma once

namespace KBL {

class BsExternlMediaAuthRequest;
class IBsRequstCallback;

// The requests of the process that live, by their callback side. A callback may be a host's, built without
// the type records that a run-time cast would need, so a request is told from other callbacks by its address.
// Any thread.

void enterLiveRequest(BsExternlMediaAuthRequest* request);
void removeLiveRequest(BsExternlMediaAuthRequest* request);
/// The request that `callback` is, or null. Borrowed: the caller knows that a reference is held.
[[nodiscard]] BsExternlMediaAuthRequest* findLiveRequest(const IBsRequstCallback* callback);

}  // namespace KBL
