// A host that returns from main while a login and a consume query are on their way, with its manager alive.

#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/CastByName.h>

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace {
// Nothing listens on the discard port of this machine; refused or not, the exchanges outlast main.
constexpr const char* deadServer = "http://127.0.0.1:9/";
}  // namespace

int main() {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("leaving_host_" + std::to_string(std::random_device()()));
  std::error_code ignored;
  if (!std::filesystem::create_directory(folder, ignored)) return 2;
  KBL::setCloudConfig({{"urlLFServerClientCredentials", deadServer}});

  KBL::IBsExternlMediaAuthorize* const manager = getOrCreateExternlMediaAuthorize(KBL::ema_youtube);
  manager->init(folder.string().c_str(), 0);
  KBL::IBsInfoReader* const pubInfo = createInfoObject(KBL::infoObjectPubInfo);
  auto* const pubRecord = KBL::queryInterface<KBL::IBsPubInfo>(pubInfo, "IBsPubInfo");
  pubRecord->setCharKeyConfig(KBL::PubCharKey::appSecret, "secret");
  manager->setPubParam(pubRecord);
  pubInfo->Release();

  KBL::IBsInfoReader* const login = createExternlMediaAuthInfoObject(KBL::infoTypeLogin);
  const bool started = manager->toExternlMediaAuth(login) == KBL::resultOk;
  login->Release();
  KBL::IBsInfoReader* const consume = createExternlMediaAuthInfoObject(KBL::infoTypeConsume);
  const bool asked = manager->toConsume(consume) == KBL::resultOk;
  consume->Release();

  std::filesystem::remove_all(folder, ignored);
  return started && asked ? 0 : 1;
}
