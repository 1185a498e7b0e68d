// A host that uploads a file through the shared library: CONFIG CACHE TOKEN FILE [--platform NUMBER]
// [--uploads COUNT] [--rounds COUNT] [--authority FILE] [--stalled SECONDS]. TOKEN signs a user in; with "-"
// the user of the cache uploads. All uploads of a round run at once, round follows round. AUTHORITY is for
// servers with TLS. Prints the most memory that it ever held, in KiB, and the seconds of the middle round,
// from the start to the last finished event; of an upload that the server lets stand still, the wake-ups a
// second.
#include "ProcessUse.h"
#include "boundary/transfers/SignedInHost.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetworkClients.h>
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr std::chrono::seconds longestSilence{30};
constexpr std::chrono::seconds settling{2};  // until the first bytes have gone and the peer stands still

/// What became of uploads. All events of a platform reach the transfer that was made last.
class Ends {
 public:
  static int record(void* ends, KBL::IExternlMediaTransfer*, int event, int, const char*) {
    static_cast<Ends*>(ends)->keep(event);
    return 1;
  }

  /// Whether so many told that they finished, once they have, or one has failed, or nothing has been heard
  /// for long.
  [[nodiscard]] bool waitFor(std::size_t ends) {
    std::unique_lock lock(mutex_);
    const auto isOver = [&] { return finished_ >= ends || failed_; };
    for (std::uint64_t heard = ~events_; !isOver() && heard != events_;) {
      heard = events_;
      changed_.wait_for(lock, longestSilence, isOver);
    }
    if (finished_ < ends) (void)std::printf("%zu of %zu finished\n", finished_, ends);
    return finished_ >= ends && !failed_;
  }
  /// Whether one has finished or failed.
  [[nodiscard]] bool hasOne() {
    const std::lock_guard lock(mutex_);
    return failed_ || finished_ > 0;
  }

 private:
  void keep(int event) {
    const std::lock_guard lock(mutex_);
    ++events_;
    if (event == KBL::transferEventProgress) return;
    event == KBL::transferEventFinished ? void(++finished_) : void(failed_ = true);
    changed_.notify_one();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t finished_ = 0;
  std::uint64_t events_ = 0;
  bool failed_ = false;
};

KBL::RefPtr<KBL::IExternlMediaTransfer> makeUpload(Ends& ends, const std::string& file, int platform) {
  auto transfer = KBL::adoptRef(createEMTUpTransfer(platform));
  const KBL::TransferCallback callback = &Ends::record;
  transfer->Command(KBL::commandSetCallback, callback);
  transfer->Command(KBL::commandSetContext, static_cast<void*>(&ends));
  transfer->Command(KBL::commandSetRecord, makeUploadJob(file).get());
  return transfer;
}

/// Uploads of one file that run at once, started here.
class Round {
 public:
  Round(const std::string& file, int platform, int uploads)
      : finishedEvents_(static_cast<std::size_t>(platform == KBL::transferDouyin ? 2 * uploads : uploads)) {
    for (int made = 0; made < uploads; ++made) transfers_.push_back(makeUpload(ends_, file, platform));
    for (const auto& transfer : transfers_) hasBegun_ = transfer->Start() == 0 && hasBegun_;
  }

  /// Waits for the end of all.
  [[nodiscard]] bool isFinished() { return hasBegun_ && ends_.waitFor(finishedEvents_); }
  /// Whether none has ended.
  [[nodiscard]] bool goesOn() { return hasBegun_ && !ends_.hasOne(); }

 private:
  const std::size_t finishedEvents_;  // an upload to Douyin tells its end twice
  Ends ends_;                         // outlives the transfers: the release of one waits for its events
  std::vector<KBL::RefPtr<KBL::IExternlMediaTransfer>> transfers_;
  bool hasBegun_ = true;
};

std::map<std::string, std::string> optionsIn(int count, char** arguments, int first) {
  std::map<std::string, std::string> options;
  for (int at = first; at + 1 < count; at += 2) options[arguments[at]] = arguments[at + 1];
  return options;
}

int numberOf(const std::map<std::string, std::string>& options, const char* name, int otherwise) {
  const auto found = options.find(name);
  return found == options.end() ? otherwise : std::atoi(found->second.c_str());
}

KBL::ExternlMediaPlatform signInPlatform(int transferPlatform) {
  switch (transferPlatform) {
    case KBL::transferTiktok:
      return KBL::ema_tiktok;
    case KBL::transferDouyin:
      return KBL::ema_douyin;
    default:
      return KBL::ema_youtube;
  }
}

double wakeUpsASecond(std::chrono::seconds time) {
  std::this_thread::sleep_for(settling);
  const long before = wakeUps();
  std::this_thread::sleep_for(time);
  return static_cast<double>(wakeUps() - before - 1) / static_cast<double>(time.count());
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 5) return 2;
  const std::string cacheDir = arguments[2];
  const std::string token = arguments[3];
  const auto options = optionsIn(count, arguments, 5);
  KBL::setKeyStore(KBL::makeFileKeyStore(cacheDir));
  if (!KBL::loadCloudConfig(arguments[1]).empty()) return 2;
  KBL::NetSettings settings;
  if (options.count("--authority") > 0) settings.extraCaFile = options.at("--authority");
  KBL::setNetSettings(settings);
  const int platform = numberOf(options, "--platform", KBL::transferYoutube);
  // Never freed: workers may report while the process ends.
  static SignedInManager& manager =
      *new SignedInManager(cacheDir, token == "-" ? "" : token, {signInPlatform(platform), "bench"});
  const int uploads = numberOf(options, "--uploads", 1);
  if (const int stalled = numberOf(options, "--stalled", 0); stalled > 0) {
    Round round(arguments[4], platform, uploads);
    (void)std::printf("wakeups %.2f\n", wakeUpsASecond(std::chrono::seconds(stalled)));
    (void)std::fflush(stdout);
    std::_Exit(round.goesOn() ? 0 : 4);
  }
  std::vector<double> seconds;
  for (int left = numberOf(options, "--rounds", 1); left > 0; --left) {
    const auto begun = std::chrono::steady_clock::now();
    Round round(arguments[4], platform, uploads);
    if (!round.isFinished()) return 4;
    seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count());
  }
  std::sort(seconds.begin(), seconds.end());
  (void)std::printf("kib %ld\nseconds %.6f\n", peakKiB(), seconds[seconds.size() / 2]);
  manager.release();
}
