// The smallest login: prints the address for the browser and waits until somebody finished there.
// Usage: minimal_login CLOUD_CONFIG APP_SECRET
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
#include <future>
#include <iostream>

namespace {

// Called on workers and timers of the library. The closing address is the last news of a good login; an error
// is the last news of any other. One of them comes before the login's time limit is long over.
class Listener final : public KBL::IExternlMediaAuthCallback {
 public:
  std::future<int> outcome() { return ended_.get_future(); }

  KBL::_Result queryResponse(KBL::IBsBaseRequest*, KBL::IBsInfoReader*, KBL::IBsErrorInfo* error) override {
    if (error->errorCode() == 0) return KBL::resultOk;
    std::cout << "error " << error->errorCode() << ": " << error->errorMessage() << std::endl;
    end(1);
    return KBL::resultOk;
  }
  void onRequestFinished(const std::string&) override {}
  void onLoginUrl(const char*, const char* url) override { std::cout << "open " << url << std::endl; }
  void onLoginCallbackUrl(const char* uuid, const char*) override {
    std::cout << "signed in as user " << uuid << std::endl;
    end(0);
  }
  void onAccessTokenChanged(const char*, const char*, const char*) override {}

 private:
  void end(int code) {
    if (!hasEnded_.exchange(true)) ended_.set_value(code);
  }

  std::promise<int> ended_;
  std::atomic<bool> hasEnded_{false};
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || !KBL::loadCloudConfig(argv[1]).empty()) return 2;
  // A callback is not counted: it must outlive every flow, so it lives as long as the process.
  static Listener listener;
  const auto manager = KBL::adoptRef(getOrCreateExternlMediaAuthorize(KBL::ema_youtube));
  const auto publicRecord = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));
  auto* const info = KBL::queryInterface<KBL::IBsPubInfo>(publicRecord.get(), "IBsPubInfo");
  info->setCharKeyConfig(KBL::PubCharKey::appSecret, argv[2]);
  manager->setPubParam(info);
  manager->addAuthCallback(&listener);
  manager->init((KBL::defaultKeyDirectory() + "/cache").c_str(), 3300000);

  const auto loginRecord = KBL::adoptRef(createExternlMediaAuthInfoObject(KBL::infoTypeLogin));
  auto* const login =
      KBL::queryInterface<KBL::IBsExternlMediaLoginInfo>(loginRecord.get(), "IBsExternlMediaLoginInfo");
  login->setCharKeyConfig(KBL::ExternlMediaLoginCharKey::platformId, "0");
  auto outcome = listener.outcome();
  return manager->toExternlMediaAuth(login) == KBL::resultOk ? outcome.get() : 1;
}
