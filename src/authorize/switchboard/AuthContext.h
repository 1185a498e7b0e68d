#pragma once

#include "authorize/switchboard/ExternlMediaCacheInfo.h"
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaPlatform.h>
#include <ExternlMediaTransfer/IExternlMediaAuthCallback.h>
#include <KblUtils/RefPtr.h>

#include <map>
#include <string>
#include <vector>

namespace KBL {

/// State of one login, by user uuid. No operation of the library makes an entry.
struct SessionFlags {
  std::string userUuid;
  bool finished = false;
  bool canceled = false;
  bool timedOut = false;
};

/// What a request needs to know of its manager; a plain record that is copied as a whole.
struct AuthContext {
  std::int32_t platform = ema_none;
  std::string logTag;  ///< platform name, ".", instance number; the manager's key in the switchboard
  std::int32_t timeoutSeconds = 30;  ///< limit of one attempt of a request
  std::string cacheDir;              ///< absolute, forward slashes
  std::int32_t refreshIntervalMs = 3300000;
  RefPtr<IBsPubInfo> pubInfo;
  RefPtr<IBsServerProxyInfo> serverProxy;
  std::vector<IExternlMediaAuthCallback*> authCallbacks;  ///< the host's; not counted
  std::map<std::string, SessionFlags> sessions;
  CacheEntries cacheEntries;
};

}  // namespace KBL
