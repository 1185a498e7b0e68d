#pragma once

#include "authorize/ExternlMediaAuthorize.h"
#include "requests/BsExternlMediaAuthRequest.h"

#include <memory>
#include <string>
#include <utility>

namespace KBL {

/// The tests' way into a manager: what no operation shows or writes.
struct AuthorizeTestAccess {
  static void setEntries(BsExternlMediaAuthorize& manager, CacheEntries entries) {
    manager.context_.change([&](AuthContext& context) { context.cacheEntries = std::move(entries); });
  }
  static void putSession(BsExternlMediaAuthorize& manager, const std::string& uuid, SessionFlags flags) {
    manager.context_.change([&](AuthContext& context) { context.sessions[uuid] = flags; });
  }
  static std::shared_ptr<AccessTokenProxy> tokenProxy(BsExternlMediaAuthorize& manager,
                                                      const std::string& uuid) {
    const auto proxies = manager.tokenProxies_.read();
    const auto found = proxies->find(uuid);
    return found == proxies->end() ? nullptr : found->second;
  }
  static std::size_t liveRequests(BsExternlMediaAuthorize& manager) {
    const std::lock_guard lock(manager.liveRequestsMutex_);
    return manager.liveRequests_.size();
  }
  /// A reference to the login that was started last.
  static RefPtr<BsExternlMediaAuthRequest> lastLiveRequest(BsExternlMediaAuthorize& manager) {
    const std::lock_guard lock(manager.liveRequestsMutex_);
    return manager.liveRequests_.empty() ? nullptr : manager.liveRequests_.back();
  }
  static int scheduleTokenRefresh(BsExternlMediaAuthorize& manager, const std::string& uuid,
                                  IBsInfoReader* info, bool succeeded) {
    return manager.scheduleTokenRefresh(uuid, info, succeeded);
  }
  static bool isAlive(const BsExternlMediaAuthorize& manager) { return manager.alive(); }
};

}  // namespace KBL
