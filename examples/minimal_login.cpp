// The smallest login: prints the address for the browser and waits until somebody finished there.
// Usage: minimal_login CLOUD_CONFIG APP_SECRET
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/Host.h>

#include <iostream>

using namespace KBL::host;

int main(int argc, char** argv) {
  if (argc != 3 || !KBL::loadCloudConfig(argv[1]).empty()) return 2;

  Accounts accounts(KBL::ema_youtube, {KBL::defaultKeyDirectory() + "/cache", argv[2]});
  const auto login = accounts.signIn(
      {"0"}, [](const std::string& address) { std::cout << "open " << address << std::endl; });
  const SignInEnd end = login.future().get();  // comes when the login's time is over at the latest
  std::cout << (end.isGood() ? "signed in as user " + end.user : end.failure.message) << std::endl;
  return end.isGood() ? 0 : 1;
}
