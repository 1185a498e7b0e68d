#pragma once

#include <utility>

namespace KBL {

/// An object that lives as long as the process. For what detached threads, sleepers and scripts may still use
/// while the process ends: objects of static storage are gone then. A function's static reference to it is
/// what keeps it: `static Found& found = neverFreed<Found>();`.
template <class Object, class... Arguments>
[[nodiscard]] Object& neverFreed(Arguments&&... arguments) {
  return *new Object(std::forward<Arguments>(arguments)...);
}

}  // namespace KBL
