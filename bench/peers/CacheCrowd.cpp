// How a crowd of verifications saves: CONFIG CACHE REFRESH USERS COUNT ANSWERS. So many users of the cache
// are verified at once, and another one logs out meanwhile, when ANSWERS of them have been answered. Makes
// the users first, with the refresh token REFRESH, where the folder CACHE has none. Prints the seconds from
// the first verification to the last answer, the writes of the file, and the milliseconds of the logout.
#include "CacheUsers.h"
#include "support/FileWrites.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/BsInfoReader.h>
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>
#include <ExternlMediaTransfer/IExternlMediaAuthCallback.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::chrono::seconds longestCrowd{60};

/// Counts the answers of verifications.
class Answers final : public KBL::IExternlMediaAuthCallback {
 public:
  KBL::_Result queryResponse(KBL::IBsBaseRequest*, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override {
    if (info->infoType() != KBL::infoTypeVerifyAccessToken) return KBL::resultOk;
    const std::lock_guard lock(mutex_);
    ++answers_;
    hasFailure_ = hasFailure_ || error->errorCode() != KBL::ErrorCode::none;
    changed_.notify_one();
    return KBL::resultOk;
  }
  void onRequestFinished(const std::string&) override {}
  void onLoginUrl(const char*, const char*) override {}
  void onLoginCallbackUrl(const char*, const char*) override {}
  void onAccessTokenChanged(const char*, const char*, const char*) override {}

  /// Whether so many have come, none of them a failure.
  [[nodiscard]] bool waitFor(int answers) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, longestCrowd, [&] { return answers_ >= answers; }) && !hasFailure_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int answers_ = 0;
  bool hasFailure_ = false;
};

KBL::RefPtr<KBL::IBsExternlMediaAuthorize> makeManager(const std::string& cache, Answers& answers) {
  auto manager = KBL::adoptRef(getOrCreateExternlMediaAuthorize(KBL::ema_youtube));
  manager->init(cache.c_str(), 0);
  const KBL::RefPtr<KBL::IBsInfoReader> pubInfo = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));
  KBL::queryInterface<KBL::BsBaseInfoRW>(pubInfo.get(), "BsBaseInfoRW")
      ->setCharKeyConfig(KBL::PubCharKey::appSecret, "sandbox-app-secret");
  manager->setPubParam(KBL::queryInterface<KBL::IBsPubInfo>(pubInfo.get(), "IBsPubInfo"));
  manager->addAuthCallback(&answers);
  return manager;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 7) return 2;
  const std::string cache = arguments[2];
  const int users = std::atoi(arguments[4]);
  const int crowd = std::atoi(arguments[5]);
  if (!KBL::loadCloudConfig(arguments[1]).empty() || !prepareUsers(cache, users, arguments[3])) return 2;
  // Never freed: workers may report while the process ends.
  static Answers& answers = *new Answers;
  const auto manager = makeManager(cache, answers);
  const std::uint32_t before = writesOf(usersFile(cache));
  const auto begun = Clock::now();
  for (int user = 0; user < crowd; ++user) {
    if (manager->toVerifyAccessToken(uuidOf(user).c_str()) != KBL::resultOk) return 4;
  }
  if (!answers.waitFor(std::atoi(arguments[6]))) return 4;
  const auto leaving = Clock::now();
  if (manager->logout(uuidOf(users - 1).c_str()) != KBL::resultOk) return 4;
  const double logoutSeconds = Seconds(Clock::now() - leaving).count();
  if (!answers.waitFor(crowd)) return 4;
  (void)std::printf("seconds %.6f\nwrites %u\nlogout %.3f\n", Seconds(Clock::now() - begun).count(),
                    writesOf(usersFile(cache)) - before, 1000 * logoutSeconds);
  (void)std::fflush(stdout);
  std::_Exit(0);
}
