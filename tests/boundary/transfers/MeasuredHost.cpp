// A host that uploads one file to TikTok and prints the most memory that it ever held, in KiB:
// CONFIG CACHE TOKEN OPEN_ID FILE.
#include "boundary/transfers/SignedInHost.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {
/// Counted anew for each program, unlike what getrusage tells.
long peakKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
  }
  return -1;
}
}  // namespace

int main(int count, char** arguments) {
  if (count != 6) return 2;
  const std::string cacheDir = arguments[2];
  KBL::setKeyStore(KBL::makeFileKeyStore(cacheDir));
  if (!KBL::loadCloudConfig(arguments[1]).empty()) return 2;
  // Never freed: workers may report while the process ends.
  static EventLog& events = *new EventLog;
  static SignedInManager& manager =
      *new SignedInManager(cacheDir, arguments[3], {KBL::ema_tiktok, arguments[4]});
  const auto transfer = makeUpload(events, arguments[5], 6);
  if (transfer->Start() != 0) return 3;
  if (!events.waitFor(8)) return 4;
  std::printf("%ld\n", peakKiB());
  manager.release();
  return 0;
}
