// A host that downloads one file through the shared library and prints the most memory that it ever held, in
// KiB: ADDRESS TARGET.
#include "ProcessUse.h"
#include <ExternlMediaTransfer/DownloadRecords.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace {

enum class End { none, good, bad };

struct Download {
  std::mutex mutex;
  std::condition_variable changed;
  End end = End::none;

  void finish(End how) {
    const std::lock_guard lock(mutex);
    end = how;
    changed.notify_one();
  }
  End wait() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return end != End::none; });
    return end;
  }
};

std::int32_t onError(void* context, KBL::IExternlMediaTransfer*, const KBL::hostErrorRecord*) {
  static_cast<Download*>(context)->finish(End::bad);
  return 0;
}

std::int32_t onProgress(void* context, KBL::IExternlMediaTransfer*, const KBL::hostProgressRecord* progress) {
  if (progress->finished == 1) static_cast<Download*>(context)->finish(End::good);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  Download download;
  const auto transfer = KBL::adoptRef(createEMTDlTransfer());
  transfer->Command(KBL::commandSetContext, static_cast<void*>(&download));
  transfer->Command(KBL::commandDownloadFile, static_cast<const char*>(arguments[1]),
                    static_cast<const char*>(arguments[2]), KBL::MediaErrorCallback(&onError),
                    KBL::MediaProgressCallback(&onProgress));
  transfer->Start();
  if (download.wait() != End::good) return 4;
  (void)std::printf("kib %ld\n", peakKiB());
}
