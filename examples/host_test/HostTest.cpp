// A host's own test: somebody signs in and uploads, against servers in this process; then the service refuses
// an upload. Usage: host_test FOLDER (for what it keeps; it is emptied)
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/Host.h>

#include <MediaTransferSandbox/Sandbox.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

using namespace KBL::host;
using namespace std::chrono_literals;

namespace {

/// Ends the test with 1 when it does not hold.
#define CHECK(condition)                                                         \
  if (!(condition)) {                                                            \
    std::cerr << __FILE__ << ':' << __LINE__ << ": " << #condition << std::endl; \
    return 1;                                                                    \
  }

std::string videoIn(const std::filesystem::path& folder) {
  const std::filesystem::path file = folder / "video.mp4";
  std::ofstream(file, std::ios::binary) << std::string(3 << 20, 'v');
  return file.string();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::filesystem::path folder = argv[1];
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);

  mediatransfer::Sandbox servers;
  KBL::setCloudConfig(servers.cloudConfig());
  KBL::setKeyStore(KBL::makeFileKeyStore((folder / "key").string()));

  // Nobody has to click: SandboxSettings::consent says who answers logins.
  Accounts accounts(KBL::ema_youtube, {(folder / "cache").string(), "sandbox-app-secret"});
  const SignInEnd login = accounts.signIn({"0"}, [](const std::string&) {}).future().get();
  CHECK(login.isGood());
  CHECK(accounts.user()->account == servers.users().front().email);

  Upload upload(KBL::transferYoutube);
  const std::string video = videoIn(folder);
  upload.start({video, "A test's video"});
  CHECK(upload.waitForEnd(1min).isGood());
  CHECK(servers.uploads().size() == 1 && servers.uploads().front().isComplete);
  CHECK(servers.uploads().front().size == std::filesystem::file_size(video));
  CHECK(servers.uploads().front().metadata.find("A test's video") != std::string::npos);

  // What goes wrong with real servers once a month, whenever it is wanted.
  mediatransfer::SandboxFault refusal{"youtubeUploadOpen", "status"};
  refusal.times = 0;  // every one from now on
  refusal.code = 403;
  const auto order = servers.orderFault(refusal);
  upload.start({video, "A video that is refused"});
  const UploadEnd refused = upload.waitForEnd(1min);
  CHECK(refused.how == UploadEnd::How::failed && refused.failure.code == 403);
  CHECK(servers.faultsDelivered(order) > 0);
  std::cout << "signed in, uploaded, refused" << std::endl;
  return 0;
}
