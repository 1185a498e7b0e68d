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
    manager.state_.users.change([&](ManagerUsers& users) { users.entries = std::move(entries); });
  }
  /// As if it had never been initialised: nothing is saved.
  static void forgetFile(BsExternlMediaAuthorize& manager) {
    manager.state_.users.change([](ManagerUsers& users) { users.cacheDir.clear(); });
  }
  static void putSession(BsExternlMediaAuthorize& manager, const std::string& uuid, SessionFlags flags) {
    manager.state_.sessions.entries.change([&](auto& sessions) { sessions[uuid] = flags; });
  }
  static std::shared_ptr<AccessTokenProxy> tokenProxy(BsExternlMediaAuthorize& manager,
                                                      const std::string& uuid) {
    const auto proxies = manager.tokens_.proxies_.read();
    const auto found = proxies->find(uuid);
    return found == proxies->end() ? nullptr : found->second;
  }
  static std::size_t liveRequests(BsExternlMediaAuthorize& manager) {
    const std::lock_guard lock(manager.login_.liveRequestsMutex_);
    return manager.login_.liveRequests_.size();
  }
  /// A reference to the login that was started last.
  static RefPtr<BsExternlMediaAuthRequest> lastLiveRequest(BsExternlMediaAuthorize& manager) {
    const std::lock_guard lock(manager.login_.liveRequestsMutex_);
    return manager.login_.liveRequests_.empty() ? nullptr : manager.login_.liveRequests_.back();
  }
  static int scheduleTokenRefresh(BsExternlMediaAuthorize& manager, const std::string& uuid,
                                  IBsInfoReader* info, bool succeeded) {
    return manager.tokens_.schedule(uuid, info, succeeded);
  }
  static bool isAlive(const BsExternlMediaAuthorize& manager) { return manager.state_.alive(); }
};

}  // namespace KBL
