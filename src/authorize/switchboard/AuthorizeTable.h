#pragma once

#include "authorize/switchboard/IBsExternlMediaAuthorize.h"
#include "boundary/records/ExternlMediaPlatform.h"
#include "foundation/object/RefPtr.h"

#include <mutex>

namespace KBL {

/// Guards `authorizeTable`, `authorizeInstanceCounter` and the last-reference path of a manager. Initialised
/// at load (see boundary/LoadTime.cpp), never freed.
extern std::mutex& authorizeTableMutex;
/// One manager a platform, indexed by the platform's value; null where none exists. Borrowed: cleared by the
/// manager's last Release.
extern IBsExternlMediaAuthorize* authorizeTable[ema_count];
/// Counts the managers that were made; part of their log tags.
extern int authorizeInstanceCounter;

/// The manager of a platform, borrowed, or null; null for a platform outside the table, too.
[[nodiscard]] IBsExternlMediaAuthorize* findAuthorize(int platform);

/// The same with a reference of its own, added in one step against the last Release, so that the manager
/// lives for as long as it is used.
[[nodiscard]] RefPtr<IBsExternlMediaAuthorize> holdAuthorize(int platform);

}  // namespace KBL
