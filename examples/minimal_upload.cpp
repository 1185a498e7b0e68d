// The smallest upload: whoever signed in last (see minimal_login.cpp) sends one video to YouTube.
// Usage: minimal_upload CLOUD_CONFIG APP_SECRET VIDEO
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/Host.h>

#include <chrono>
#include <iostream>

using namespace KBL::host;

int main(int argc, char** argv) {
  if (argc != 4 || !KBL::loadCloudConfig(argv[1]).empty()) return 2;

  Accounts accounts(KBL::ema_youtube, {KBL::defaultKeyDirectory() + "/cache", argv[2]});
  Upload upload(KBL::transferYoutube, {[](int percent) { std::cout << percent << " %" << std::endl; }});
  upload.start({argv[3], "A small host's video"});
  // Some failures are silent, so that nobody should wait for ever.
  const UploadEnd end = upload.waitForEnd(std::chrono::minutes(3));
  std::cout << (end.isGood() ? end.address : end.failure.message) << std::endl;
  return end.isGood() ? 0 : 1;
}
