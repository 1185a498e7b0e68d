// What the saves of users cost.
//   ours CACHE USERS COUNT      COUNT updates of one of so many users, one after the other
//   sqlite CACHE USERS COUNT    SQLite alone writes a text of the length that the file of these users holds
//   crowd CACHE USERS COUNT     updates of COUNT users at once, and a logout meanwhile
// Makes the users first where the folder CACHE has none. Prints the seconds of the middle update, or of the
// whole crowd with its writes and the milliseconds of the logout.
#include "authorize/CacheFile.h"
#include "authorize/switchboard/SwitchboardInterfaces.h"
#include <BsNet/BsInfoReader.h>
#include <BsNet/IBsInfoReader.h>
#include <BsNet/cipher.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::int64_t farEnd = 4102444800;  // of a token: in the year 2100

std::string uuidOf(int user) {
  return "user-" + std::to_string(user);
}

KBL::CacheEntries makeUsers(int count) {
  KBL::CacheEntries users;
  for (int user = 0; user < count; ++user) {
    KBL::ExternlMediaCacheInfo record;
    record.diskType = KBL::ema_youtube;
    record.diskName = "ema_youtube";
    record.userUuid = uuidOf(user);
    record.userAccountUid = "1122334455667788" + std::to_string(user);
    record.accessToken = std::string(64, 'a');
    record.refreshToken = std::string(64, 'r');
    record.thirdAccessToken = std::string(180, 't');
    record.userNickName = "somebody";
    record.expiresTimeout = farEnd;
    users.push_back(record);
  }
  return users;
}

std::string fileIn(const std::string& cache) {
  return KBL::cacheFilePath(cache, KBL::ema_youtube);
}

/// How often the file was written: SQLite counts it at this place of its head.
std::uint32_t writesOf(const std::string& path) {
  std::array<unsigned char, 4> digits{};
  std::ifstream file(path, std::ios::binary);
  file.seekg(24);
  file.read(reinterpret_cast<char*>(digits.data()), digits.size());
  std::uint32_t count = 0;
  for (const unsigned char digit : digits) count = count << 8 | digit;
  return count;
}

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
  [[nodiscard]] bool logout(int user) const {
    return manager_->logout(uuidOf(user).c_str()) == KBL::resultOk;
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

/// With the same care for the disk and for other processes: opened for each save, and synchronised.
bool saveBySqlite(const std::string& path, const std::string& text) {
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  const bool isDone =
      sqlite3_open(path.c_str(), &database) == SQLITE_OK &&
      sqlite3_exec(database,
                   "PRAGMA synchronous=EXTRA; PRAGMA secure_delete=ON; CREATE TABLE IF NOT EXISTS AppSetting "
                   "(key TEXT NOT NULL PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID",
                   nullptr, nullptr, nullptr) == SQLITE_OK &&
      sqlite3_prepare_v2(database, "REPLACE INTO AppSetting VALUES ('Authorize', ?1)", -1, &statement,
                         nullptr) == SQLITE_OK &&
      sqlite3_bind_text(statement, 1, text.c_str(), -1, SQLITE_STATIC) == SQLITE_OK &&
      sqlite3_step(statement) == SQLITE_DONE;
  sqlite3_finalize(statement);
  sqlite3_close(database);
  return isDone;
}

int runSqlite(const std::string& cache, int count) {
  const std::string path = cache + "/sqlite.db";
  std::string text(std::filesystem::file_size(fileIn(cache)), '0');
  return printMiddle(count, [&](int round) {
    const char digit = static_cast<char>('0' + round % 10);
    std::fill(text.begin(), text.end(), digit);
    return saveBySqlite(path, text);
  });
}

int runCrowd(const std::string& cache, int users, int count) {
  const Host host(cache);
  const std::uint32_t before = writesOf(fileIn(cache));
  const auto begun = Clock::now();
  std::vector<std::thread> crowd;
  for (int user = 0; user < count; ++user) {
    crowd.emplace_back([&host, user] { (void)host.update(user, user); });
  }
  const auto leaving = Clock::now();
  const bool hasLeft = host.logout(users - 1);
  const double logoutSeconds = Seconds(Clock::now() - leaving).count();
  for (std::thread& one : crowd) one.join();
  (void)std::printf("seconds %.6f\nwrites %u\nlogout %.3f\n", Seconds(Clock::now() - begun).count(),
                    writesOf(fileIn(cache)) - before, 1000 * logoutSeconds);
  return hasLeft ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 5) return 2;
  const std::string way = arguments[1];
  const std::string cache = arguments[2];
  const int users = std::atoi(arguments[3]);
  const int saves = std::atoi(arguments[4]);
  KBL::setKeyStore(KBL::makeFileKeyStore(cache));
  if (!std::filesystem::exists(fileIn(cache)) && !KBL::saveCacheFile(fileIn(cache), makeUsers(users)))
    return 2;
  if (way == "sqlite") return runSqlite(cache, saves);
  return way == "ours" ? runOurs(cache, saves) : runCrowd(cache, users, saves);
}
