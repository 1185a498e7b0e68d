// The seven functions.
#include "authorize/ExternlMediaAuthorize.h"
#include "authorize/switchboard/AuthorizeTable.h"
#include "boundary/records/Records.h"
#include "boundary/transfers/ExternlMediaDlTransfer.h"
#include "boundary/transfers/ExternlMediaUpTransfer.h"
#include "foundation/tls/CurlFitness.h"
#include "scripting/python/PythonRunTime.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/HostCode.h>
#include <KblUtils/Result.h>

using KBL::authorizeTable;

namespace {

/// What `operation` gives, or `otherwise` when memory is short.
template <class Result, class Operation>
Result orWithoutMemory(Result otherwise, Operation operation) {
  try {
    return operation();
  } catch (...) {
    KBL::passThreadEnd();
    return otherwise;
  }
}

}  // namespace

KBL::IBsExternlMediaAuthorize* getExternlMediaAuthorize(int platform) {
  return KBL::findAuthorize(platform);
}

KBL::IBsExternlMediaAuthorize* getOrCreateExternlMediaAuthorize(int platform) {
  if (platform < 0 || platform >= KBL::ema_count) return nullptr;
  KBL::tellOfUnfitCurl();
  const std::lock_guard lock(KBL::authorizeTableMutex);
  if (authorizeTable[platform] != nullptr) return authorizeTable[platform];
  return orWithoutMemory<KBL::IBsExternlMediaAuthorize*>(nullptr, [&] {
    return authorizeTable[platform] =
               KBL::BsExternlMediaAuthorize::make(platform, ++KBL::authorizeInstanceCounter).leak();
  });
}

KBL::IBsInfoReader* createExternlMediaAuthInfoObject(int infoType) {
  return orWithoutMemory<KBL::IBsInfoReader*>(nullptr, [&] { return KBL::createRecord(infoType); });
}

std::int32_t setupTransferEnv(const char* pythonHome, int length) {
  if (pythonHome == nullptr) return KBL::resultFailed;
  return orWithoutMemory<std::int32_t>(KBL::resultFailed, [&] {  // nothing was set up then
    (void)KBL::CPythonRunTime::setHomePath(pythonHome, length);
    return KBL::resultOk;
  });
}

std::int32_t teardownTransferEnv() {
  return orWithoutMemory<std::int32_t>(KBL::resultOk, [] {  // a line of the log is lost then
    KBL::CPythonRunTime::teardown();
    return KBL::resultOk;
  });
}

KBL::IExternlMediaTransfer* createEMTUpTransfer(int transferPlatform) {
  KBL::tellOfUnfitCurl();
  return orWithoutMemory<KBL::IExternlMediaTransfer*>(
      nullptr, [&] { return KBL::ExternlMediaUpTransfer::create(transferPlatform).leak(); });
}

KBL::IExternlMediaTransfer* createEMTDlTransfer() {
  KBL::tellOfUnfitCurl();
  return orWithoutMemory<KBL::IExternlMediaTransfer*>(
      nullptr, [] { return KBL::ExternlMediaDlTransfer::make().leak(); });
}
