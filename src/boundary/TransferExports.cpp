// The exports of the transfer side that uploads need.
#include "boundary/ExternlMediaTransfer.h"
#include "boundary/ExternlMediaUpTransfer.h"
#include "foundation/BsNet/Result.h"
#include "scripting/PythonRunTime.h"
#include "scripting/threadEnd.h"

#include <new>

extern "C" {

std::int32_t setupTransferEnv(const char* pythonHome, int length) {
  if (pythonHome == nullptr) return KBL::resultFailed;
  try {
    (void)KBL::CPythonRunTime::setHomePath(pythonHome, length);
  } catch (const std::bad_alloc&) {
    // Nothing was set up, which the call has no result for.
  }
  return KBL::resultOk;
}

std::int32_t teardownTransferEnv() {
  try {
    KBL::CPythonRunTime::teardown();
  } catch (const std::bad_alloc&) {
    // A line of the log is lost.
  }
  return KBL::resultOk;
}

KBL::IExternlMediaTransfer* createEMTUpTransfer(int transferPlatform) {
  try {
    return KBL::makeRef<KBL::ExternlMediaUpTransfer>(transferPlatform).leak();
  } catch (...) {
    KBL::passThreadEnd();
    return nullptr;  // memory is short
  }
}

}  // extern "C"
