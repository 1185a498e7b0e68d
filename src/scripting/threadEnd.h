#pragma once

#include <exception>

namespace KBL {

/// First in a handler of all exceptions (`catch (...)`) below which scripts or the host may run: goes on with
/// what is no exception. Where an interpreter that ends takes a thread with it, the system unwinds the
/// thread's stack as an exception would, and ends the process should a handler keep that.
inline void passThreadEnd() {
  if (std::current_exception() == nullptr) throw;
}

}  // namespace KBL
