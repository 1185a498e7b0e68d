// A host that uploads one file to YouTube through the shared library and prints the most memory that it ever
// held, in KiB: CONFIG CACHE TOKEN FILE, and AUTHORITY for servers with TLS.
#include "boundary/transfers/SignedInHost.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetworkClients.h>
#include <BsNet/cipher.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

constexpr int finishedEvent = 8;

long peakKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stol(line.substr(6));
  }
  return -1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 5) return 2;
  const std::string cacheDir = arguments[2];
  KBL::setKeyStore(KBL::makeFileKeyStore(cacheDir));
  if (!KBL::loadCloudConfig(arguments[1]).empty()) return 2;
  KBL::NetSettings settings;
  if (count > 5) settings.extraCaFile = arguments[5];
  KBL::setNetSettings(settings);
  // Never freed: workers may report while the process ends.
  static EventLog& events = *new EventLog;
  static SignedInManager& manager = *new SignedInManager(cacheDir, arguments[3]);
  const auto transfer = makeUpload(events, arguments[4]);
  if (transfer->Start() != 0) return 3;
  if (!events.waitFor(finishedEvent)) return 4;
  (void)std::printf("%ld\n", peakKiB());
  manager.release();
}
