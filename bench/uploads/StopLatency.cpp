// How long Stop of a running upload to TikTok takes until the host hears of its end, over 200 stops each:
// while bytes flow, and when the server has stalled.
#include "boundary/transfers/SignedInHost.h"
#include "sandbox/Sandbox.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;
using std::chrono::microseconds;

constexpr std::size_t stops = 200;
constexpr double bound = 100;
constexpr double failed = 1e9;
constexpr int tiktokTransfer = 6;
constexpr int progressEvent = 7;
constexpr int errorEvent = 12;

/// Starts an upload, waits until some bytes were sent and for `pause` more, and measures the stop.
double stopOnce(const std::string& path, microseconds pause) {
  EventLog log;
  std::atomic<Clock::time_point> ended{Clock::time_point::max()};
  log.inside = [&](const UploadEvent& event) {
    if (event.event == errorEvent && event.text == "-10007,User cancelled!") ended = Clock::now();
  };
  const auto transfer = makeUpload(log, path, tiktokTransfer);
  transfer->Start();
  if (!log.waitFor(progressEvent)) return failed;
  std::this_thread::sleep_for(pause);
  const Clock::time_point before = Clock::now();
  transfer->Stop();
  if (!log.waitFor(errorEvent) || !waitUntil([&] { return ended.load() != Clock::time_point::max(); })) {
    return failed;
  }
  return Milliseconds(ended.load() - before).count();
}

bool measure(const char* name, sandbox::Sandbox& server, const std::string& path,
             const sandbox::Fault& fault) {
  const auto order = server.orderFault(sandbox::Route::tiktokUpload, fault, 1, 0);
  std::mt19937 generator(1);
  std::uniform_int_distribution<int> pause(0, 300'000);
  std::vector<double> times;
  for (std::size_t stop = 0; stop < stops; ++stop) {
    times.push_back(stopOnce(path, microseconds(pause(generator))));
  }
  std::sort(times.begin(), times.end());
  const double p99 = times[stops * 99 / 100 - 1];
  const bool isGood = p99 < bound && server.faultsDelivered(order) >= stops;
  (void)std::printf(
      "%-14s median %8.2f ms   95th %8.2f ms   99th %8.2f ms   worst %8.2f ms   bound %4.0f ms   %s\n", name,
      times[stops / 2], times[stops * 95 / 100 - 1], p99, times.back(), bound, isGood ? "good" : "MISSED");
  (void)std::fflush(stdout);
  server.clearFaults();
  return isGood;
}

}  // namespace

int main() {
  const TemporaryDirectory files;
  const std::string path = files.write("clip.mp4", "");
  std::filesystem::resize_file(path, 52428799);
  sandbox::SandboxOptions options;
  options.receiveBuffer = 64 << 10;  // so that the server's pace is the client's
  sandbox::Sandbox server(options);
  KBL::setKeyStore(KBL::makeFileKeyStore(files.file("keys")));
  KBL::setCloudConfig(server.cloudConfig());
  SignedInManager manager(files.file("cache"), server.issueTokens(sandbox::Platform::tiktok).accessToken,
                          {KBL::ema_tiktok, server.users().front().openId});

  // 16 KiB every millisecond keep the file flowing for longer than any pause here.
  const bool flowing = measure("bytes flow", server, path,
                               sandbox::Fault::slowRequest(16 << 10, std::chrono::milliseconds(1)));
  const bool stalled = measure("stalled", server, path, sandbox::Fault::stallRequestAfter(2 << 20));
  manager.release();
  KBL::setKeyStore(nullptr);
  return flowing && stalled ? 0 : 1;
}
