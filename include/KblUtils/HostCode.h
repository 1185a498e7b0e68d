#pragma once

#include <exception>
#include <utility>

namespace KBL {

/// First in a handler of all exceptions (`catch (...)`) below which scripts or the host may run: goes on with
/// what is no exception. Where an interpreter that ends takes a thread with it, the system unwinds the
/// thread's stack as an exception would, and ends the process should a handler keep that.
inline void passThreadEnd() {
  if (std::current_exception() == nullptr) throw;
}

/// Marks a thread that runs a callback of the host. Whoever would wait for callbacks to end asks first: a
/// callback that waited for others, or for itself, might never return.
class InsideHostCode {
 public:
  InsideHostCode() { ++depth(); }
  ~InsideHostCode() { --depth(); }
  InsideHostCode(const InsideHostCode&) = delete;
  InsideHostCode& operator=(const InsideHostCode&) = delete;

  /// True when this thread has such a mark.
  [[nodiscard]] static bool here() { return depth() != 0; }

 private:
  static int& depth() {
    static thread_local int value = 0;
    return value;
  }
};

/// Runs a callback of the host, `call()`, with this thread marked. What it throws ends here and is told to
/// `onThrow(const char* what)`; the callback counts as one that returned.
template <class Call, class OnThrow>
void runHostCode(Call&& call, OnThrow&& onThrow) {
  const InsideHostCode mark;
  try {
    std::forward<Call>(call)();
  } catch (const std::exception& thrown) {
    std::forward<OnThrow>(onThrow)(thrown.what());
  } catch (...) {
    passThreadEnd();
    std::forward<OnThrow>(onThrow)("an unknown exception");
  }
}

}  // namespace KBL
