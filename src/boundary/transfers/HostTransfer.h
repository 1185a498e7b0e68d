#pragma once

#include "foundation/object/HostCounted.h"
#include "scripting/python/PythonCall.h"
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>
#include <KblUtils/HostCode.h>
#include <KblUtils/Result.h>

#include <cstdarg>
#include <cstdint>
#include <new>

namespace KBL {

/// What both of the host's transfers are: the host's count, and operations that hold the core,
/// since a callback may bring the last Release before they have returned. No operation throws: want of memory
/// is a failure like any other.
template <class Transfer>
class HostTransfer : public IExternlMediaTransfer, public HostCounted<Transfer> {
 public:
  std::int32_t Start() final {
    return guarded([this] { return start(); });
  }
  std::int32_t Stop() final {
    return guarded([this] { return stop(); });
  }

  // NOLINTNEXTLINE(cert-dcl50-cpp): hosts are built against these arguments
  std::int32_t Command(int command, ...) final {
    std::va_list arguments;
    va_start(arguments, command);
    const std::int32_t result = guarded([&] { return runCommand(command, arguments); });
    va_end(arguments);
    return result;
  }

  // NOLINTNEXTLINE(cert-dcl50-cpp): hosts are built against these arguments
  std::int32_t Query(int command, ...) final {
    std::va_list arguments;
    va_start(arguments, command);
    const std::int32_t result = guarded([&] { return runQuery(command, arguments); });
    va_end(arguments);
    return result;
  }

 protected:
  HostTransfer() = default;
  ~HostTransfer() override = default;

  /// Runs an operation of the host's.
  template <class Operation>
  std::int32_t guarded(Operation operation) {
    const auto core = this->weak_from_this().lock();
    try {
      return operation();
    } catch (...) {
      passThreadEnd();
      return resultFailed;
    }
  }

  /// Waits for what runs in the host. That may need the interpreter: whoever holds its lock gives it up
  /// meanwhile, unless there is no memory for that.
  template <class Wait>
  static void waitWithoutPython(Wait wait) {
    try {
      const PythonUnlocked unlocked;
      wait();
    } catch (const std::bad_alloc&) {
      wait();
    }
  }

 private:
  // The operations themselves.
  virtual std::int32_t start() = 0;
  virtual std::int32_t stop() = 0;
  virtual std::int32_t runCommand(int command, std::va_list arguments) = 0;
  virtual std::int32_t runQuery(int command, std::va_list arguments) = 0;
};

}  // namespace KBL
