// A download transfer that is used from several threads and in its callbacks at once.
#include "boundary/transfers/DownloadTransferFixture.h"
#include "support/Seed.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <array>
#include <atomic>
#include <random>
#include <thread>

using KBL::IExternlMediaTransfer;
using DownloadTransfer = DownloadTransferTest;

namespace {
/// A host that hears whether it is called behind the last Release, and uses the transfer in its callbacks.
struct RacedHost {
  static constexpr int largestDepth = 2000;

  IExternlMediaTransfer* transfer = nullptr;
  std::atomic<bool> isReleased{false};
  std::atomic<int> running{0};
  std::atomic<int> calls{0};
  std::atomic<int> lateCalls{0};

  void use(unsigned choice) {
    switch (choice % 6) {
      case 0:
        transfer->Command(KBL::commandListFacebookAlbums, "TOKEN", &RacedHost::onAlbum, &RacedHost::onError);
        break;
      case 1:
        transfer->Command(KBL::commandSetContext, static_cast<void*>(this));
        break;
      case 2: {
        void* context = nullptr;
        transfer->Query(KBL::queryContext, &context);
        EXPECT_EQ(context, this);
        break;
      }
      case 3:
        transfer->Stop();
        break;
      default:
        transfer->Start();
    }
  }

  void called() {
    ++running;
    if (isReleased) ++lateCalls;
    // Unlike their threads, callbacks use the transfer by what their number gives.
    const int number = ++calls;
    if (number < largestDepth) use(static_cast<unsigned>(number) * 2654435761U >> 7U);
    --running;
  }

  static std::int32_t onAlbum(void* context, IExternlMediaTransfer*, const KBL::hostAlbumRecord*) {
    static_cast<RacedHost*>(context)->called();
    return 1;
  }
  static std::int32_t onError(void* context, IExternlMediaTransfer*, const KBL::hostErrorRecord*) {
    static_cast<RacedHost*>(context)->called();
    return 0;
  }
};
}  // namespace

TEST_F(DownloadTransfer, MayBeUsedFromAnyThreadUntilItsLastRelease) {
  constexpr int rounds = 10;
  constexpr int uses = 60;
  server.answerAlways(R"({"data":[{"id":"1"},{"id":"2"}]})");
  std::mt19937_64 seeds = seededGenerator();
  for (int round = 0; round < rounds; ++round) {
    RacedHost raced;
    raced.transfer = createEMTDlTransfer();
    raced.transfer->Command(KBL::commandSetContext, static_cast<void*>(&raced));
    std::array<std::thread, 4> threads;
    for (std::thread& thread : threads) {
      raced.transfer->AddRef();
      thread = std::thread([&raced, choices = std::mt19937_64(seeds())]() mutable {
        for (int use = 0; use < uses; ++use) raced.use(static_cast<unsigned>(choices()));
        if (raced.transfer->Release() == 0) raced.isReleased = true;
      });
    }
    if (raced.transfer->Release() == 0) raced.isReleased = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(raced.isReleased);
    EXPECT_EQ(raced.running, 0);
    const int calls = raced.calls;
    EXPECT_FALSE(waitUntil([&] { return raced.calls > calls; }, std::chrono::milliseconds(20)));
    EXPECT_EQ(raced.lateCalls, 0);
  }
}
