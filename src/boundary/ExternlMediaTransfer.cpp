#include "boundary/ExternlMediaTransfer.h"

#include "authorize/ExternlMediaAuthorize.h"
#include "authorize/switchboard/AuthorizeTable.h"
#include "boundary/records/Records.h"

using KBL::authorizeTable;

KBL::IBsExternlMediaAuthorize* getExternlMediaAuthorize(int platform) {
  return KBL::findAuthorize(platform);
}

KBL::IBsExternlMediaAuthorize* getOrCreateExternlMediaAuthorize(int platform) {
  if (platform < 0 || platform >= KBL::ema_count) return nullptr;
  const std::lock_guard lock(KBL::authorizeTableMutex);
  if (authorizeTable[platform] != nullptr) return authorizeTable[platform];
  auto* const manager = new KBL::BsExternlMediaAuthorize(platform, ++KBL::authorizeInstanceCounter);
  manager->AddRef();
  authorizeTable[platform] = manager;
  return manager;
}

KBL::IBsInfoReader* createExternlMediaAuthInfoObject(int infoType) {
  return KBL::createRecord(infoType);
}

KBL::IExternlMediaTransfer* createEMTDlTransfer() {
  return nullptr;
}
