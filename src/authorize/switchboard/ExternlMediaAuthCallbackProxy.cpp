#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"

#include "authorize/switchboard/SwitchboardInterfaces.h"
#include <BsNet/IBsBaseRequest.h>
#include <KblUtils/CastByName.h>

#include <cstdlib>
#include <utility>

namespace KBL {

namespace {
constexpr const char* refreshInterface = "IExternlMediaRefreshAccessTokenCallback";
constexpr const char* callbackInterface = "IBsRequstCallback";
constexpr const char* authorizeInterface = "IBsExternlMediaAuthorize";

constexpr int nothingFound = 1;
}  // namespace

ExternlMediaAuthCallbackProxy& ExternlMediaAuthCallbackProxy::instance() {
  // Workers may still come while the process ends; they find nothing then.
  static ExternlMediaAuthCallbackProxy& proxy = []() -> ExternlMediaAuthCallbackProxy& {
    auto& made = neverFreed<ExternlMediaAuthCallbackProxy>();
    (void)std::atexit([] { instance().close(); });
    return made;
  }();
  return proxy;
}

void ExternlMediaAuthCallbackProxy::close() {
  // Without the lock: at the end of a process on Windows, or of a forked one, it may have a holder that is no
  // more.
  closed_ = true;
}

void ExternlMediaAuthCallbackProxy::registerManager(const std::string& logTag,
                                                    const std::shared_ptr<char>& aliveToken,
                                                    ISwitchboardManager* manager) {
  // Into copies, since entries of a manager that was not made after all would silence the others.
  const std::lock_guard lock(mutex_);
  auto interfaces = interfaces_;
  auto owners = owners_;
  for (const char* const name : {refreshInterface, callbackInterface, authorizeInterface}) {
    interfaces[name] = InterfaceEntry{name, aliveToken, logTag};
  }
  owners[logTag] = OwnerEntry{aliveToken, manager};
  interfaces_.swap(interfaces);
  owners_.swap(owners);
}

void ExternlMediaAuthCallbackProxy::removeManager(const std::string& logTag,
                                                  const ISwitchboardManager* manager) {
  const std::lock_guard lock(mutex_);
  const auto owner = owners_.find(logTag);
  if (owner != owners_.end() && owner->second.manager == manager) owners_.erase(owner);
}

bool ExternlMediaAuthCallbackProxy::knowsOwner(const std::string& ownerTag) {
  const std::lock_guard lock(mutex_);
  const auto owner = owners_.find(ownerTag);
  return !closed_ && owner != owners_.end() && owner->second.manager != nullptr &&
         !owner->second.alive.expired();
}

ExternlMediaAuthCallbackProxy::HeldManager ExternlMediaAuthCallbackProxy::hold(std::string_view interfaceName,
                                                                               const std::string& ownerTag) {
  const std::lock_guard lock(mutex_);
  const auto named = interfaces_.find(interfaceName);
  if (named == interfaces_.end() || named->second.alive.expired()) return {};
  HeldManager held = holdOwnerLocked(ownerTag);
  held.interfaceAlive = named->second.alive;
  return held;
}

ExternlMediaAuthCallbackProxy::HeldManager ExternlMediaAuthCallbackProxy::holdOwnerLocked(
    const std::string& ownerTag) {
  if (closed_) return {};
  const auto owner = owners_.find(ownerTag);
  if (owner == owners_.end() || owner->second.manager == nullptr || owner->second.alive.expired()) return {};
  return {owner->second.alive, owner->second.manager->core()};
}

template <class Interface, class Result, class Call>
Result ExternlMediaAuthCallbackProxy::forward(const char* interfaceName, const std::string& ownerTag,
                                              Result nothing, Call&& call) {
  const HeldManager held = hold(interfaceName, ownerTag);
  if (held.manager == nullptr) return nothing;
  auto* const target = queryInterface<Interface>(held.manager->authorize(), interfaceName);
  if (target == nullptr || held.interfaceAlive.expired()) return nothing;
  return std::forward<Call>(call)(*target, *held.manager);
}

template <class Call>
int ExternlMediaAuthCallbackProxy::forwardRefresh(const std::string& ownerTag, Call&& call) {
  return forward<IExternlMediaRefreshAccessTokenCallback>(
      refreshInterface, ownerTag, nothingFound,
      [&](IExternlMediaRefreshAccessTokenCallback& manager, ISwitchboardManager&) { return call(manager); });
}

_Result ExternlMediaAuthCallbackProxy::queryResponse(IBsBaseRequest* request, IBsInfoReader* info,
                                                     IBsErrorInfo* error) {
  const auto* const owned = dynamic_cast<IOwnedRequest*>(request);
  if (owned == nullptr) return resultFailed;
  return forward<IBsRequstCallback>(callbackInterface, owned->ownerTag(), resultFailed,
                                    [&](IBsRequstCallback& manager, ISwitchboardManager&) {
                                      return manager.queryResponse(request, info, error);
                                    });
}

int ExternlMediaAuthCallbackProxy::cbAsyncRefreshAccessToken(const std::string& ownerTag,
                                                             const std::string& uuid) {
  return forwardRefresh(ownerTag, [&](auto& manager) { return manager.cbAsyncRefreshAccessToken(uuid); });
}

int ExternlMediaAuthCallbackProxy::cbRequestFailed(const std::string& ownerTag, IBsBaseRequest* request,
                                                   IBsInfoReader* info, IBsErrorInfo* error) {
  return forwardRefresh(ownerTag,
                        [&](auto& manager) { return manager.cbRequestFailed(request, info, error); });
}

int ExternlMediaAuthCallbackProxy::cbRequestForward(const std::string& ownerTag, IBsBaseRequest* request,
                                                    IBsInfoReader* info, IBsErrorInfo* error) {
  return forwardRefresh(ownerTag,
                        [&](auto& manager) { return manager.cbRequestForward(request, info, error); });
}

int ExternlMediaAuthCallbackProxy::cbQueryThirdLoginURL(const std::string& ownerTag, const std::string& uuid,
                                                        const std::string& loginUrl) {
  return forwardRefresh(ownerTag,
                        [&](auto& manager) { return manager.cbQueryThirdLoginURL(uuid, loginUrl); });
}

int ExternlMediaAuthCallbackProxy::cbQueryThirdLoginCallbackURL(const std::string& ownerTag,
                                                                const std::string& uuid,
                                                                const std::string& callbackUrl) {
  return forwardRefresh(
      ownerTag, [&](auto& manager) { return manager.cbQueryThirdLoginCallbackURL(uuid, callbackUrl); });
}

int ExternlMediaAuthCallbackProxy::cbRequestNotify(const std::string& ownerTag, const std::string& uuid) {
  return forwardRefresh(ownerTag, [&](auto& manager) { return manager.cbRequestNotify(uuid); });
}

int ExternlMediaAuthCallbackProxy::setTimedOut(const std::string& ownerTag, const std::string& uuid,
                                               bool timedOut) {
  return forwardRefresh(ownerTag, [&](auto& manager) { return manager.setTimedOut(uuid, timedOut); });
}

int ExternlMediaAuthCallbackProxy::isTimedOut(const std::string& ownerTag, const std::string& uuid) {
  return forwardRefresh(ownerTag, [&](auto& manager) { return manager.isTimedOut(uuid); });
}

int ExternlMediaAuthCallbackProxy::setFinished(const std::string& ownerTag, const std::string& uuid,
                                               bool finished) {
  return forwardRefresh(ownerTag, [&](auto& manager) { return manager.setFinished(uuid, finished); });
}

int ExternlMediaAuthCallbackProxy::isFinished(const std::string& ownerTag, const std::string& uuid) {
  return forwardRefresh(ownerTag, [&](auto& manager) { return manager.isFinished(uuid); });
}

int ExternlMediaAuthCallbackProxy::isCanceled(const std::string& ownerTag, const std::string& uuid) {
  return forwardRefresh(ownerTag, [&](auto& manager) { return manager.isCanceled(uuid); });
}

int ExternlMediaAuthCallbackProxy::updateInfo(const std::string& ownerTag, const std::string& uuid,
                                              IBsInfoReader* info) {
  return forwardRefresh(ownerTag, [&](auto& manager) { return manager.updateInfo(uuid, info); });
}

std::optional<AuthContext> ExternlMediaAuthCallbackProxy::copyAuthContext(const std::string& ownerTag) {
  AuthContext context;
  bool found = false;
  forwardRefresh(ownerTag, [&](auto& manager) {
    found = true;
    return manager.copyAuthContext(context);
  });
  if (!found) return std::nullopt;
  return context;
}

int ExternlMediaAuthCallbackProxy::getAccessToken(const std::string& ownerTag, const std::string& uuid,
                                                  char* buffer) {
  return forward<IBsExternlMediaAuthorize>(
      authorizeInterface, ownerTag, nothingFound,
      [&](IBsExternlMediaAuthorize& manager, ISwitchboardManager&) -> int {
        return manager.getAccessToken(uuid.c_str(), buffer);
      });
}

void ExternlMediaAuthCallbackProxy::renewalUnanswered(
    const std::string& ownerTag, const std::string& uuid,
    const std::vector<RefPtr<BsBaseInfoRW>>& verifications) {
  HeldManager held;
  {
    const std::lock_guard lock(mutex_);
    held = holdOwnerLocked(ownerTag);
  }
  if (held.manager != nullptr) held.manager->renewalUnanswered(uuid, verifications);
}

std::string ExternlMediaAuthCallbackProxy::accessToken(const std::string& ownerTag, const std::string& uuid) {
  return forward<IBsExternlMediaAuthorize>(
      authorizeInterface, ownerTag, std::string(),
      [&](IBsExternlMediaAuthorize&, ISwitchboardManager& manager) { return manager.accessToken(uuid); });
}

}  // namespace KBL
