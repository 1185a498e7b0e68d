// A host that ends while the lock of the switchboard is held for good, as by a thread that is no more.
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include <BsNet/BsInfoReader.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

/// Ends the process where the switchboard asks for the manager, which it does under its lock.
class LeavingManager final : public KBL::ISwitchboardManager {
 public:
  [[noreturn]] std::shared_ptr<KBL::ISwitchboardManager> core() override { std::exit(0); }
  KBL::IBsExternlMediaAuthorize* authorize() override { return nullptr; }
  std::string accessToken(const std::string&) override { return {}; }
  void renewalUnanswered(const std::string&, const std::vector<KBL::RefPtr<KBL::BsBaseInfoRW>>&) override {}
};

}  // namespace

int main() {
  const auto alive = std::make_shared<char>('0');
  LeavingManager manager;
  KBL::ExternlMediaAuthCallbackProxy& proxy = KBL::ExternlMediaAuthCallbackProxy::instance();
  proxy.registerManager("leaving", alive, &manager);
  proxy.renewalUnanswered("leaving", "user", {});
  return 1;
}
