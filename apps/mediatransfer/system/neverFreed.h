#pragma once

namespace host {

/// An object that stays until the process has gone: a thread of the library may use it later than destructors
/// run. Its pointer is what keeps it: `static EventQueue& queue = neverFreed<EventQueue>();`.
template <class Object>
[[nodiscard]] Object& neverFreed() {
  return *new Object();
}

}  // namespace host
