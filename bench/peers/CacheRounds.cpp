// What the saves of users cost.
//   ours CACHE USERS COUNT      COUNT updates of one of so many users, one after the other
//   sqlite CACHE USERS COUNT    SQLite alone writes a text of the length that the file of these users holds
// Makes the users first where the folder CACHE has none. Prints the seconds of the middle update.
#include "CacheUsers.h"
#include "SqliteSave.h"
#include "authorize/switchboard/SwitchboardInterfaces.h"
#include <BsNet/BsInfoReader.h>
#include <BsNet/IBsInfoReader.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

/// One manager with the users of its folder.
class Host {
 public:
  explicit Host(const std::string& cache)
      : manager_(KBL::adoptRef(getOrCreateExternlMediaAuthorize(KBL::ema_youtube))),
        updates_(KBL::queryInterface<KBL::IExternlMediaRefreshAccessTokenCallback>(
            manager_.get(), "IExternlMediaRefreshAccessTokenCallback")) {
    manager_->init(cache.c_str(), 0);
  }

  /// What a verification learns of a user.
  [[nodiscard]] bool update(int user, int round) const {
    const KBL::RefPtr<KBL::IBsInfoReader> info =
        KBL::adoptRef(createExternlMediaAuthInfoObject(KBL::infoTypeMixed));
    auto* const record = KBL::queryInterface<KBL::BsBaseInfoRW>(info.get(), "BsBaseInfoRW");
    std::string token = std::to_string(round) + std::string(180, 't');
    token.resize(180);
    record->setCharKeyConfig(KBL::ExternlMediaMixedCharKey::thirdAccessToken, token.c_str());
    record->setIntKeyConfig(KBL::ExternlMediaMixedIntKey::expiresTimestamp, farEnd);
    return updates_->updateInfo(uuidOf(user), info.get()) == 0;
  }

 private:
  KBL::RefPtr<KBL::IBsExternlMediaAuthorize> manager_;
  KBL::IExternlMediaRefreshAccessTokenCallback* updates_;
};

template <class Save>
int printMiddle(int count, Save save) {
  std::vector<double> times;
  for (int round = 0; round < count; ++round) {
    const auto begun = Clock::now();
    if (!save(round)) return 1;
    times.push_back(Seconds(Clock::now() - begun).count());
  }
  std::sort(times.begin(), times.end());
  (void)std::printf("seconds %.6f\n", times[times.size() / 2]);
  return 0;
}

int runOurs(const std::string& cache, int count) {
  const Host host(cache);
  return printMiddle(count, [&](int round) { return host.update(0, round); });
}

int runSqlite(const std::string& cache, int count) {
  const std::string path = cache + "/sqlite.db";
  std::string text(std::filesystem::file_size(usersFile(cache)), '0');
  return printMiddle(count, [&](int round) {
    const char digit = static_cast<char>('0' + round % 10);
    std::fill(text.begin(), text.end(), digit);
    return saveBySqlite(path, text);
  });
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 5) return 2;
  const std::string way = arguments[1];
  const std::string cache = arguments[2];
  const int users = std::atoi(arguments[3]);
  const int saves = std::atoi(arguments[4]);
  if (!prepareUsers(cache, users, std::string(64, 'r'))) return 2;
  if (way == "sqlite") return runSqlite(cache, saves);
  return runOurs(cache, saves);
}
