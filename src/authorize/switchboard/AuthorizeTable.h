#pragma once

#include "authorize/switchboard/SwitchboardInterfaces.h"
#include <ExternlMediaTransfer/ExternlMediaPlatform.h>
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>

#include <memory>
#include <mutex>

namespace KBL {

/// Guards `authorizeTable`, `authorizeInstanceCounter` and a manager's step from its last reference to none;
/// no host code runs under it. Initialised at load (see boundary/exports/LoadTime.cpp), never freed.
extern std::mutex& authorizeTableMutex;
/// One manager a platform, indexed by the platform's value; null where none exists. Borrowed: cleared by the
/// manager's last Release.
extern IBsExternlMediaAuthorize* authorizeTable[ema_count];
/// Counts the managers that were made; part of their log tags.
extern int authorizeInstanceCounter;

/// The manager of a platform, borrowed, or null; null for a platform outside the table, too.
[[nodiscard]] inline IBsExternlMediaAuthorize* findAuthorize(int platform) {
  if (platform < 0 || platform >= ema_count) return nullptr;
  const std::lock_guard lock(authorizeTableMutex);
  return authorizeTable[platform];
}

/// The same with its core kept, in one step against the last Release, so that the manager can be used for as
/// long as it is held; the host's count is left alone.
[[nodiscard]] inline std::shared_ptr<IBsExternlMediaAuthorize> holdAuthorize(int platform) {
  if (platform < 0 || platform >= ema_count) return nullptr;
  const std::lock_guard lock(authorizeTableMutex);
  auto* const manager = dynamic_cast<ISwitchboardManager*>(authorizeTable[platform]);
  if (manager == nullptr) return nullptr;
  return {manager->core(), authorizeTable[platform]};
}

}  // namespace KBL
