// A host whose user has not come back from the browser yet: CONFIG CACHE SECONDS. Begins a login and, once
// its address is there, prints the wake-ups a second of so many seconds in which nothing happens to it.
#include "ProcessUse.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/IBsErrorInfo.h>
#include <BsNet/NetKeys.h>
#include <BsNet/cipher.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/IExternlMediaAuthCallback.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>

namespace {

constexpr std::chrono::seconds longestWait{30};

class Listener final : public KBL::IExternlMediaAuthCallback {
 public:
  KBL::_Result queryResponse(KBL::IBsBaseRequest*, KBL::IBsInfoReader*, KBL::IBsErrorInfo* error) override {
    if (error->errorCode() != 0) hasFailed_ = true;
    return KBL::resultOk;
  }
  void onRequestFinished(const std::string&) override {}
  void onLoginUrl(const char*, const char*) override { address_.set_value(); }
  void onLoginCallbackUrl(const char*, const char*) override {}
  void onAccessTokenChanged(const char*, const char*, const char*) override {}

  /// Whether the login has its address.
  [[nodiscard]] bool waitForAddress() {
    return address_.get_future().wait_for(longestWait) == std::future_status::ready;
  }
  [[nodiscard]] bool hasFailed() const { return hasFailed_; }

 private:
  std::promise<void> address_;
  std::atomic<bool> hasFailed_{false};
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) return 2;
  KBL::setKeyStore(KBL::makeFileKeyStore(arguments[2]));
  if (!KBL::loadCloudConfig(arguments[1]).empty()) return 2;
  static Listener listener;  // outlives every flow
  const auto manager = KBL::adoptRef(getOrCreateExternlMediaAuthorize(KBL::ema_youtube));
  const auto publicRecord = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));
  auto* const info = KBL::queryInterface<KBL::IBsPubInfo>(publicRecord.get(), "IBsPubInfo");
  info->setCharKeyConfig(KBL::PubCharKey::appSecret, "sandbox-app-secret");
  manager->setPubParam(info);
  manager->addAuthCallback(&listener);
  manager->init(arguments[2], 0);
  const auto loginRecord = KBL::adoptRef(createExternlMediaAuthInfoObject(KBL::infoTypeLogin));
  auto* const login =
      KBL::queryInterface<KBL::IBsExternlMediaLoginInfo>(loginRecord.get(), "IBsExternlMediaLoginInfo");
  login->setCharKeyConfig(KBL::ExternlMediaLoginCharKey::platformId, "0");
  if (manager->toExternlMediaAuth(login) != KBL::resultOk || !listener.waitForAddress()) return 4;
  const int seconds = std::atoi(arguments[3]);
  const long before = wakeUps();
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  (void)std::printf("wakeups %.2f\n", static_cast<double>(wakeUps() - before - 1) / seconds);
  (void)std::fflush(stdout);
  std::_Exit(listener.hasFailed() ? 4 : 0);
}
