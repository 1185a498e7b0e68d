#pragma once

#include <KblUtils/Export.h>

namespace KBL {

class IDmBaseObj;

/// What a host may attach to an object to hear of its end. Implemented by the host, which owns it and keeps
/// it alive for as long as it is attached.
class IDmProtocol {
 public:
  /// Called once, on the thread of the last Release, before `object` is destroyed. `object` has a count of
  /// zero, and nothing revives it. What is thrown here counts as returned.
  virtual void onLastRelease(IDmBaseObj* object) = 0;

 protected:
  ~IDmProtocol() = default;
};

/// Base of everything that crosses a module boundary. Implemented by RefCnt; every operation may come from
/// any thread. Objects have no public destructor: the last Release destroys them.
class KBL_INTERFACE IDmBaseObj {
 public:
  /// Adds one reference, returns the new count. A manager or transfer that has got its last Release, and
  /// whose pointer a running callback still reads, stays ended: the result is 0, and a Release behind it does
  /// nothing.
  virtual int AddRef() = 0;
  /// Gives one reference back and returns the new count. At zero the attached protocol is told and the object
  /// is destroyed.
  virtual int Release() = 0;
  /// The attached protocol or null; borrowed.
  virtual IDmProtocol* GetProtocol() = 0;
  /// Replaces the attached protocol, which stays the caller's. Null detaches.
  virtual void SetProtocol(IDmProtocol* protocol) = 0;
  /// The interface called `name` (exact, case-sensitive) of this same object, or null. No reference is added:
  /// the result lives as long as the reference that the caller holds.
  virtual void* QueryInterfaceByName(const char* name) = 0;

 protected:
  ~IDmBaseObj() = default;
};

}  // namespace KBL
