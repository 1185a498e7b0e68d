// How long Stop of a download transfer takes, over 200 stops each: while bytes flow, and on a stalled
// transfer, where libcurl looks up once a second.
#include "sandbox/Sandbox.h"
#include <ExternlMediaTransfer/DownloadRecords.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::size_t stops = 200;

struct Download {
  std::atomic<int> bytes{0};
};

std::int32_t onProgress(void* context, KBL::IExternlMediaTransfer*, const KBL::hostProgressRecord* progress) {
  static_cast<Download*>(context)->bytes = progress->bytesSoFar;
  return 0;
}

/// Starts a download, waits until bytes have come and for `pause` more, and measures the stop.
double stopOnce(const std::string& url, std::chrono::microseconds pause) {
  Download download;
  const auto transfer = KBL::adoptRef(createEMTDlTransfer());
  const KBL::MediaErrorCallback noError = nullptr;
  transfer->Command(KBL::commandSetContext, static_cast<void*>(&download));
  transfer->Command(KBL::commandDownloadFile, url.c_str(), "never written", noError, &onProgress);
  transfer->Start();
  while (download.bytes == 0) std::this_thread::yield();
  std::this_thread::sleep_for(pause);
  const Clock::time_point before = Clock::now();
  transfer->Stop();
  return Milliseconds(Clock::now() - before).count();
}

bool measure(const char* name, sandbox::Sandbox& server, const sandbox::Fault& fault, double bound) {
  const auto order = server.orderFault(sandbox::Route::mediaPicture, fault, 1, 0);
  const std::string url = server.baseUrl() + "/media/pictures/1_4096x4096.jpg";
  std::mt19937 generator(1);
  std::uniform_int_distribution<int> pause(0, 1'000'000);
  std::vector<double> times;
  for (std::size_t stop = 0; stop < stops; ++stop) {
    times.push_back(stopOnce(url, std::chrono::microseconds(pause(generator))));
  }
  std::sort(times.begin(), times.end());
  const double p99 = times[stops * 99 / 100 - 1];
  const bool isGood = p99 < bound && server.faultsDelivered(order) >= stops;
  std::printf("%-14s median %8.2f ms   99th %8.2f ms   worst %8.2f ms   bound %6.0f ms   %s\n", name,
              times[stops / 2], p99, times.back(), bound, isGood ? "good" : "MISSED");
  (void)std::fflush(stdout);
  server.clearFaults();
  return isGood;
}

}  // namespace

int main() {
  sandbox::Sandbox server;
  // 256 bytes every millisecond keep a picture of half a megabyte flowing for longer than any pause here.
  const bool flowing =
      measure("bytes flow", server, sandbox::Fault::trickle(256, std::chrono::milliseconds(1)), 100);
  const bool stalled = measure("stalled", server, sandbox::Fault::stallAnswerAfter(20000), 1200);
  return flowing && stalled ? 0 : 1;
}
