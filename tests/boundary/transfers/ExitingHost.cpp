// A host that ends while the library's workers still sleep or run: CONFIG CACHE TOKEN FILE WAY. Exits with 0
// when it came to the moment that WAY names.
#include "boundary/transfers/SignedInHost.h"
#include "support/WaitUntil.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>

#include <cstdlib>
#include <string>

int main(int count, char** arguments) {
  if (count != 6) return 2;
  const std::string cacheDir = arguments[2];
  const std::string way = arguments[5];
  KBL::setKeyStore(KBL::makeFileKeyStore(cacheDir));
  if (!KBL::loadCloudConfig(arguments[1]).empty()) return 2;

  // Never freed: workers may report while the process ends.
  static EventLog& events = *new EventLog;
  static SignedInManager& manager = *new SignedInManager(cacheDir, arguments[3]);
  static KBL::RefPtr<KBL::IExternlMediaTransfer>& transfer =
      *new KBL::RefPtr<KBL::IExternlMediaTransfer>(makeUpload(events, arguments[4]));
  if (way == "exitInsideTheCallback") {
    events.inside = [](const UploadEvent&) { std::exit(0); };
  }
  if (transfer->Start() != 0) return 3;

  if (way == "whileItRuns") return events.waitFor(7) ? 0 : 4;
  if (!events.waitFor(8)) return 5;
  if (way == "releaseAndReturn") {
    transfer.reset();
    manager.release();
  }
  return 0;
}
