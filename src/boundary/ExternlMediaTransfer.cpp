#include "boundary/ExternlMediaTransfer.h"

#include "authorize/ExternlMediaAuthorize.h"
#include "authorize/switchboard/AuthorizeTable.h"
#include "boundary/records/Records.h"

#include <new>

using KBL::authorizeTable;

KBL::IBsExternlMediaAuthorize* getExternlMediaAuthorize(int platform) {
  return KBL::findAuthorize(platform);
}

KBL::IBsExternlMediaAuthorize* getOrCreateExternlMediaAuthorize(int platform) {
  if (platform < 0 || platform >= KBL::ema_count) return nullptr;
  const std::lock_guard lock(KBL::authorizeTableMutex);
  if (authorizeTable[platform] != nullptr) return authorizeTable[platform];
  try {
    auto* const manager = new KBL::BsExternlMediaAuthorize(platform, ++KBL::authorizeInstanceCounter);
    manager->AddRef();
    return authorizeTable[platform] = manager;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

KBL::IBsInfoReader* createExternlMediaAuthInfoObject(int infoType) {
  try {
    return KBL::createRecord(infoType);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
