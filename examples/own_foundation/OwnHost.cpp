// A host whose foundation is its own: signs somebody in at two platforms and uploads a video to each, against
// the stand-in servers in this process. Usage: own_host FOLDER (for the cache, which may be there, and the
// key)
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/Host.h>

#include <MediaTransferSandbox/Sandbox.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace KBL::host;

namespace {

/// The cipher's key in a file. A real host asks the system's key store.
class OwnKey final : public KBL::IKeyStore {
 public:
  explicit OwnKey(std::string file) : file_(std::move(file)) {}
  std::vector<unsigned char> loadOrCreateKey() override {
    std::ifstream kept(file_, std::ios::binary);
    std::vector<unsigned char> key{std::istreambuf_iterator<char>(kept), {}};
    if (!key.empty()) return key;
    std::random_device random;
    for (int count = 0; count < 64; ++count) key.push_back(static_cast<unsigned char>(random()));
    std::ofstream(file_, std::ios::binary).write(reinterpret_cast<const char*>(key.data()), 64);
    return key;
  }

 private:
  const std::string file_;
};

struct Platform {
  KBL::ExternlMediaPlatform accounts;
  KBL::TransferPlatform uploads;
  std::string number;  // the account server's
  std::string route;   // of the stand-in, for the bytes
};

/// The bytes went through our own client.
void printSender(const mediatransfer::Sandbox& servers, const std::string& route) {
  const auto requests = servers.requests(route);
  for (const auto& [name, value] : requests.front().headers) {
    if (name == "User-Agent") std::cout << "sent by " << value << std::endl;
  }
}

bool signInAndUpload(mediatransfer::Sandbox& servers, const Platform& platform, const std::string& folder) {
  Accounts accounts(platform.accounts, {folder + "/cache", "sandbox-app-secret"});
  if (const auto known = accounts.user()) std::cout << "known: " << known->nickName << std::endl;
  const SignInEnd login = accounts.signIn({platform.number}, [](const std::string&) {}).future().get();
  std::cout << (login.isGood() ? "signed in" : login.failure.message) << std::endl;
  if (!login.isGood()) return false;

  Upload upload(platform.uploads);
  upload.start({folder + "/video.mp4", "A video by our own means"});
  const UploadEnd end = upload.waitForEnd(std::chrono::minutes(1));
  std::cout << (end.isGood() ? "uploaded " + end.address : end.failure.message) << std::endl;
  printSender(servers, platform.route);
  return end.isGood();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string folder = argv[1];
  const std::string video(3U << 20, 'v');
  std::ofstream(folder + "/video.mp4", std::ios::binary) << video;

  mediatransfer::Sandbox servers;
  KBL::setCloudConfig(servers.cloudConfig());
  KBL::setKeyStore(std::make_shared<OwnKey>(folder + "/key"));

  const Platform platforms[] = {{KBL::ema_youtube, KBL::transferYoutube, "0", "youtubeUploadChunk"},
                                {KBL::ema_tiktok, KBL::transferTiktok, "2", "tiktokUpload"}};
  for (const Platform& platform : platforms) {
    if (!signInAndUpload(servers, platform, folder)) return 1;
  }
  for (const auto& upload : servers.uploads()) {
    if (!upload.isComplete || upload.size != video.size()) return 1;
  }
  return servers.uploads().size() == 2 ? 0 : 1;
}
