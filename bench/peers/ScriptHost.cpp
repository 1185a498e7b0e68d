// A host that uploads a file to Vimeo by the library's script and prints the most memory that it ever held,
// in KiB: HOME LOGIN FILE. HOME ends with a slash. The environment tells where the interpreter and the
// services are.
#include "ProcessUse.h"
#include "boundary/transfers/SignedInHost.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <array>
#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace {

struct End {
  std::mutex mutex;
  std::condition_variable changed;
  int event = 0;

  static int record(void* self, KBL::IExternlMediaTransfer*, int event, int, const char* text) {
    if (event == KBL::transferEventProgress) return 1;
    if (event != KBL::transferEventFinished) (void)std::printf("%s\n", text == nullptr ? "" : text);
    auto& end = *static_cast<End*>(self);
    const std::lock_guard lock(end.mutex);
    end.event = event;
    end.changed.notify_one();
    return 1;
  }
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 4 || setupTransferEnv(arguments[1], 0) != 0) return 2;
  End end;
  const auto transfer = KBL::adoptRef(createEMTUpTransfer(KBL::transferVimeo));
  const KBL::TransferCallback callback = &End::record;
  std::array<char, 1024> refusal{};
  transfer->Command(KBL::commandSetApp, "app", "secret", "http://localhost/");
  if (transfer->Command(KBL::commandSetAccessToken, static_cast<const char*>(arguments[2]), refusal.data()) !=
      0) {
    (void)std::printf("%s\n", refusal.data());
    return 3;
  }
  transfer->Command(KBL::commandSetCallback, callback);
  transfer->Command(KBL::commandSetContext, static_cast<void*>(&end));
  transfer->Command(KBL::commandSetRecord, makeUploadJob(arguments[3]).get());
  if (transfer->Start() != 0) return 3;
  {
    std::unique_lock lock(end.mutex);
    end.changed.wait(lock, [&] { return end.event != 0; });
  }
  if (end.event != KBL::transferEventFinished) return 4;
  (void)std::printf("kib %ld\n", peakKiB());
  teardownTransferEnv();
}
