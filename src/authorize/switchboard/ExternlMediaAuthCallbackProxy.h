#pragma once

#include "authorize/switchboard/SwitchboardInterfaces.h"
#include "foundation/neverFreed.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KBL {

/// The process-wide switchboard between workers and managers. Requests, timers and upload proxies hold the
/// `ownerTag` of their manager, never a pointer, and come here each time, so that a manager may die while
/// they are on their way.
///
/// A forwarder needs two live entries: the interface's, which the manager made last owns, and the owner's. So
/// the death of the manager made last silences the forwarders of the others, which is required as it stands.
/// A forwarder that finds nothing calls nothing and returns 1; otherwise it returns what the operation
/// returned. The manager's core is held for the length of the call, and no lock is held meanwhile. The way to
/// the manager needs no memory.
class ExternlMediaAuthCallbackProxy : public IBsRequstCallback {
 public:
  /// The one object; made on first use, closed at exit, never freed.
  static ExternlMediaAuthCallbackProxy& instance();

  /// Enters a manager under its tag and as the latest holder of the three interface names; wholly, or not at
  /// all where memory is short.
  void registerManager(const std::string& logTag, const std::shared_ptr<char>& aliveToken,
                       ISwitchboardManager* manager);
  /// Takes the owner's entry out, if it is this manager's: from now on no forwarder finds it.
  void removeManager(const std::string& logTag, const ISwitchboardManager* manager);

  /// True while a live manager stands under the tag.
  [[nodiscard]] bool knowsOwner(const std::string& ownerTag);

  /// Hands the end of `request` to the manager named by its owner tag.
  _Result queryResponse(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) override;

  int cbAsyncRefreshAccessToken(const std::string& ownerTag, const std::string& uuid);
  int cbRequestFailed(const std::string& ownerTag, IBsBaseRequest* request, IBsInfoReader* info,
                      IBsErrorInfo* error);
  int cbRequestForward(const std::string& ownerTag, IBsBaseRequest* request, IBsInfoReader* info,
                       IBsErrorInfo* error);
  int cbQueryThirdLoginURL(const std::string& ownerTag, const std::string& uuid, const std::string& loginUrl);
  int cbQueryThirdLoginCallbackURL(const std::string& ownerTag, const std::string& uuid,
                                   const std::string& callbackUrl);
  int cbRequestNotify(const std::string& ownerTag, const std::string& uuid);
  int setTimedOut(const std::string& ownerTag, const std::string& uuid, bool timedOut);
  int isTimedOut(const std::string& ownerTag, const std::string& uuid);
  int setFinished(const std::string& ownerTag, const std::string& uuid, bool finished);
  int isFinished(const std::string& ownerTag, const std::string& uuid);
  int isCanceled(const std::string& ownerTag, const std::string& uuid);
  int updateInfo(const std::string& ownerTag, const std::string& uuid, IBsInfoReader* info);
  /// The manager's context, or nothing when no such manager or interface was found.
  [[nodiscard]] std::optional<AuthContext> copyAuthContext(const std::string& ownerTag);
  /// The public operation, into a buffer that holds the stored token's full length.
  int getAccessToken(const std::string& ownerTag, const std::string& uuid, char* buffer);
  /// What workers use instead: at most 8192 characters, whatever is stored; empty when nothing was found.
  [[nodiscard]] std::string accessToken(const std::string& ownerTag, const std::string& uuid);
  /// Tells the manager, also one whose forwarders have fallen silent, that a renewal ended without an answer.
  void renewalUnanswered(const std::string& ownerTag, const std::string& uuid,
                         const std::vector<RefPtr<BsBaseInfoRW>>& verifications);

 private:
  struct InterfaceEntry {
    std::string name;
    std::weak_ptr<char> alive;
    std::string logTag;
  };
  struct OwnerEntry {
    std::weak_ptr<char> alive;
    ISwitchboardManager* manager = nullptr;
  };

  /// A manager that was found.
  struct HeldManager {
    std::weak_ptr<char> interfaceAlive;
    std::shared_ptr<ISwitchboardManager> manager;
  };

  friend ExternlMediaAuthCallbackProxy& neverFreed<ExternlMediaAuthCallbackProxy>();
  ExternlMediaAuthCallbackProxy() = default;

  void close();
  [[nodiscard]] HeldManager hold(std::string_view interfaceName, const std::string& ownerTag);
  /// The manager under the tag, whatever became of the interfaces' entries. The caller holds `mutex_`.
  [[nodiscard]] HeldManager holdOwnerLocked(const std::string& ownerTag);
  /// The steps that every forwarder shares: `call(Interface&, ISwitchboardManager&)` where a manager was
  /// found, else `nothing`.
  template <class Interface, class Result, class Call>
  Result forward(const char* interfaceName, const std::string& ownerTag, Result nothing, Call&& call);
  template <class Call>
  int forwardRefresh(const std::string& ownerTag, Call&& call);

  std::mutex mutex_;  // a leaf: held for a look-up alone
  std::atomic<bool> closed_ = false;
  std::map<std::string, InterfaceEntry, std::less<>> interfaces_;
  std::map<std::string, OwnerEntry> owners_;
};

}  // namespace KBL
