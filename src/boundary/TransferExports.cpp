// The exports of the transfer side that uploads need.
#include "boundary/ExternlMediaTransfer.h"
#include "boundary/ExternlMediaUpTransfer.h"
#include "foundation/BsNet/Result.h"
#include "scripting/PythonEnvironment.h"

#include <cstddef>
#include <mutex>
#include <new>
#include <string>

extern "C" {

std::int32_t setupTransferEnv(const char* pythonHome, int length) {
  if (pythonHome == nullptr) return KBL::resultFailed;
  const std::lock_guard lock(KBL::pythonMutex);
  if (!KBL::pythonHome.empty()) return KBL::resultOk;  // the first home holds for the life of the process
  try {
    KBL::pythonHome =
        length < 1 ? std::string(pythonHome) : std::string(pythonHome, static_cast<std::size_t>(length));
  } catch (const std::bad_alloc&) {
    // The home stays unset, which the call has no result for.
  }
  return KBL::resultOk;
}

std::int32_t teardownTransferEnv() {
  return KBL::resultOk;  // no interpreter runs that could be ended
}

KBL::IExternlMediaTransfer* createEMTUpTransfer(int transferPlatform) {
  try {
    return KBL::makeRef<KBL::ExternlMediaUpTransfer>(transferPlatform).leak();
  } catch (...) {
    return nullptr;  // memory is short
  }
}

}  // extern "C"
