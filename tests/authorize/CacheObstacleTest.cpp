// A cache file that is out of reach: it is left alone until it has been read. And what a save asks of the
// host.

#include "authorize/CacheFile.h"
#include "authorize/ManagerFixture.h"
#include "boundary/records/Records.h"
#include "support/FileWrites.h"
#include "support/Flag.h"
#include "support/WaitUntil.h"
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/TimeUtil.h>

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#endif

using namespace KBL;
using namespace std::chrono_literals;

namespace {

/// Far above what a loaded machine adds to five seconds, far below what waits without a common limit take.
constexpr auto slack = 20s;

std::vector<std::string> uuidsOf(const CacheEntries& list) {
  std::vector<std::string> uuids;
  for (const CacheEntry& record : list) uuids.push_back(record->userUuid);
  return uuids;
}

/// Another program that has the file for itself alone.
class Locker {
 public:
  explicit Locker(const std::string& path) {
    EXPECT_EQ(sqlite3_open(path.c_str(), &database_), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database_, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  }
  ~Locker() { sqlite3_close(database_); }
  Locker(const Locker&) = delete;
  Locker& operator=(const Locker&) = delete;

 private:
  sqlite3* database_ = nullptr;
};

class CacheObstacle : public ManagerFixture {
 protected:
  static constexpr const char* reasonLine = ", cache file left alone: ";

  void store(std::initializer_list<const char*> uuids) {
    std::filesystem::create_directories(directory.path() / "cache");
    CacheEntries list;
    for (const char* const uuid : uuids) list.emplace_back(makeUser(uuid, nowSeconds() + 3600));
    ASSERT_TRUE(saveCacheFile(cacheFile(), list));
  }
  [[nodiscard]] std::filesystem::path journal() const { return cacheFile() + "-journal"; }
#if defined(_WIN32)
  /// SQLite cannot read past a journal that another program keeps for itself.
  static constexpr const char* reason = "unable to open database file";
  void block() {
    std::ofstream(journal()) << "of another program";
    kept_ = CreateFileW(journal().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(kept_, INVALID_HANDLE_VALUE);
  }
  void unblock() const {
    CloseHandle(kept_);
    std::filesystem::remove(journal());
  }
  HANDLE kept_ = INVALID_HANDLE_VALUE;
#else
  /// SQLite cannot read past a journal that is no file.
  static constexpr const char* reason = "disk I/O error";
  void block() const {
    std::filesystem::create_directory(journal());
  }
  void unblock() const {
    std::filesystem::remove(journal());
  }
#endif

  void learnNick(const std::string& uuid, const std::string& nick) {
    const auto info = makeRef<BsExternlMediaAuthMixedInfo>();
    info->setCharKeyConfig(ExternlMediaMixedCharKey::userNickName, nick.c_str());
    EXPECT_EQ(manager->updateInfo(uuid, info.get()), 0);
  }
  /// Whether all users have it, in memory.
  [[nodiscard]] bool haveNick(const std::string& nick) const {
    const CacheEntries list = context().cacheEntries;
    return std::all_of(list.begin(), list.end(), [&](const auto& one) { return one->userNickName == nick; });
  }
  [[nodiscard]] std::size_t savesThat(const char* outcome) const {
    return logger->linesWith(std::string(", save cloud disk cache, ") + outcome).size();
  }
  [[nodiscard]] std::vector<std::string> usersInMemory() const {
    return uuidsOf(context().cacheEntries);
  }
  [[nodiscard]] std::string fileBytes() const {
    return directory.read("cache/ema_youtube_cache.db");
  }
};

}  // namespace

TEST_F(CacheObstacle, AFileLockedByAnotherProgramCostsFiveSecondsAndNoUser) {
  store({"a", "b"});
  auto locker = std::make_unique<Locker>(cacheFile());

  const auto start = std::chrono::steady_clock::now();
  makeManager();
  const auto initTook = std::chrono::steady_clock::now() - start;
  signIn("new");
  learnNick("new", "nick");
  const auto bothTook = std::chrono::steady_clock::now() - start;

  EXPECT_GE(initTook, 5s);
  EXPECT_LT(initTook, 5s + slack);
  EXPECT_LT(bothTook, 10s + slack);
  EXPECT_TRUE(logger->hasLine(tag + ", load cacheFAILED"));
  EXPECT_TRUE(logger->hasLine(tag + reasonLine + "database is locked"));
  EXPECT_EQ(savesThat("FAILED"), 1U);
  EXPECT_EQ(usersInMemory(), std::vector<std::string>{"new"});

  locker.reset();
  learnNick("new", "other nick");

  EXPECT_EQ(savesThat("OK"), 1U);
  EXPECT_EQ(usersInMemory(), (std::vector<std::string>{"a", "b", "new"}));
  EXPECT_EQ(uuidsOf(storedUsers()), (std::vector<std::string>{"a", "b", "new"}));
}

TEST_F(CacheObstacle, ALockedFileKeepsALogoutNoLongerThanFiveSeconds) {
  store({"a", "b"});
  makeManager();
  const Locker locker(cacheFile());

  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(manager->logout("a"), resultOk);
  const auto took = std::chrono::steady_clock::now() - start;

  EXPECT_GE(took, 5s);
  EXPECT_LT(took, 5s + slack);
  EXPECT_EQ(savesThat("FAILED"), 1U);
}

TEST_F(CacheObstacle, TheReasonIsALineOfItsOwnBehindTheToldOne) {
  store({"a"});
  block();

  makeManager();

  const auto lines = logger->linesWith(tag + ", ");
  const auto told = std::find_if(lines.begin(), lines.end(), [&](const LogLine& line) {
    return line.text == tag + ", load cacheFAILED";
  });
  ASSERT_NE(told, lines.end());
  EXPECT_EQ(told->severity, IBsLogger::severityInfo);
  ASSERT_NE(told + 1, lines.end());
  EXPECT_EQ((told + 1)->text, tag + reasonLine + reason);
  EXPECT_EQ((told + 1)->severity, IBsLogger::severityWarning);
  unblock();
}

TEST_F(CacheObstacle, EachSaveFailsUntilTheFileHasBeenRead) {
  store({"a"});
  const std::string before = fileBytes();
  block();
  makeManager();
  signIn("new");

  learnNick("new", "one");
  learnNick("new", "two");

  EXPECT_EQ(savesThat("FAILED"), 2U);
  EXPECT_EQ(logger->linesWith(reasonLine).size(), 3U);
  EXPECT_EQ(fileBytes(), before);
  unblock();
  learnNick("new", "three");
  EXPECT_EQ(savesThat("OK"), 1U);
  EXPECT_TRUE(logger->hasLine(tag + ", cache file read late, users: 1"));
  learnNick("new", "four");
  EXPECT_EQ(savesThat("OK"), 2U);
  ASSERT_EQ(logger->linesWith(", cache file read late").size(), 1U);
  EXPECT_EQ(logger->linesWith(", cache file read late")[0].severity, IBsLogger::severityInfo);
  EXPECT_EQ(uuidsOf(storedUsers()), (std::vector<std::string>{"a", "new"}));
}

TEST_F(CacheObstacle, ALateLoadPutsTheFileFirstAndMemoryWins) {
  store({"a", "b", "", "c"});
  block();
  makeManager();
  signIn("d");
  signIn("b");

  unblock();
  learnNick("b", "from memory");

  EXPECT_EQ(usersInMemory(), (std::vector<std::string>{"a", "c", "d", "b"}));
  EXPECT_EQ(user("b").userNickName, "from memory");
  EXPECT_EQ(uuidsOf(storedUsers()), (std::vector<std::string>{"a", "c", "d", "b"}));
}

TEST_F(CacheObstacle, WhoSignedOutMeanwhileStaysOut) {
  store({"a", "b"});
  makeManager();
  block();
  EXPECT_EQ(manager->logout("a"), resultOk);
  EXPECT_EQ(savesThat("FAILED"), 1U);
  manager->init(directory.file("cache").c_str(), 0);
  EXPECT_TRUE(usersInMemory().empty());
  signIn("c");

  unblock();
  learnNick("c", "nick");

  EXPECT_EQ(uuidsOf(storedUsers()), (std::vector<std::string>{"b", "c"}));
}

TEST_F(CacheObstacle, WhoIsLoadedAgainIsNoLongerSignedOut) {
  store({"a"});
  makeManager();
  block();
  EXPECT_EQ(manager->logout("a"), resultOk);
  unblock();
  manager->init(directory.file("cache").c_str(), 0);
  EXPECT_EQ(usersInMemory(), std::vector<std::string>{"a"});
  block();
  manager->init(directory.file("cache").c_str(), 0);
  signIn("c");

  unblock();
  learnNick("c", "nick");

  EXPECT_EQ(usersInMemory(), (std::vector<std::string>{"a", "c"}));
}

TEST_F(CacheObstacle, ALogoutReadsTheFileLate) {
  store({"a"});
  block();
  makeManager();
  signIn("b");

  unblock();
  EXPECT_EQ(manager->logout("b"), resultOk);

  EXPECT_EQ(usersInMemory(), std::vector<std::string>{"a"});
  EXPECT_EQ(uuidsOf(storedUsers()), std::vector<std::string>{"a"});
}

TEST_F(CacheObstacle, AnExpiredUserOfALateLoadIsToldOf) {
  std::filesystem::create_directories(directory.path() / "cache");
  ASSERT_TRUE(saveCacheFile(cacheFile(), {makeUser("old", nowSeconds() - 1)}));
  block();
  makeManager();
  signIn("b");

  unblock();
  learnNick("b", "nick");

  EXPECT_EQ(logger->linesWith(" cache info expired:old").size(), 1U);
}

TEST_F(CacheObstacle, AFileThatHasGoneMeanwhileIsMadeAnew) {
  store({"a"});
  block();
  makeManager();
  signIn("b");

  unblock();
  std::filesystem::remove_all(directory.path() / "cache");
  std::filesystem::create_directory(directory.path() / "cache");
  learnNick("b", "nick");

  EXPECT_EQ(savesThat("OK"), 1U);
  EXPECT_EQ(uuidsOf(storedUsers()), std::vector<std::string>{"b"});
}

TEST_F(CacheObstacle, AFolderThatIsMissingIsOne) {
  directory.write("cache", "a file");

  makeManager();

  EXPECT_TRUE(logger->hasLine(tag + reasonLine + "unable to open database file"));
}

TEST_F(CacheObstacle, AJournalInTheWayOfANewFileIsToldAtOnce) {
  std::filesystem::create_directories(directory.path() / "cache");
  block();

  makeManager();

  EXPECT_EQ(logger->linesWith(reasonLine).size(), 1U);
  unblock();
}

TEST_F(CacheObstacle, WhatTheFileHoldsIsNone) {
  makeManager();  // a new file
  const auto initOn = [&](const std::string& bytes) {
    directory.write("cache/ema_youtube_cache.db", bytes);
    manager->init(directory.file("cache").c_str(), 0);
  };
  store({});  // the text "null"
  manager->init(directory.file("cache").c_str(), 0);
  initOn(std::string(5000, 'g'));
  initOn("");
  std::filesystem::remove(cacheFile());
  store({"a"});
  setKeyStore(makeFileKeyStore(directory.file("other keys")));
  manager->init(directory.file("cache").c_str(), 0);

  EXPECT_EQ(logger->linesWith(", load cacheFAILED").size(), 5U);
  EXPECT_TRUE(logger->linesWith(reasonLine).empty());
  signIn("b");
  learnNick("b", "nick");
  EXPECT_EQ(savesThat("OK"), 1U);
  EXPECT_EQ(uuidsOf(storedUsers()), std::vector<std::string>{"b"});
}

namespace {

/// A key that the host gives only now and then.
class HostKeyStore : public IKeyStore {
 public:
  std::vector<unsigned char> loadOrCreateKey() override {
    if (whenAsked) whenAsked();
    return isThere ? std::vector<unsigned char>(64, 'k') : std::vector<unsigned char>();
  }
  std::function<void()> whenAsked;
  std::atomic<bool> isThere{true};
};

/// What a host does at each question that a thread of the test asks: work on another thread, which must come
/// to its end before the answer is given. At its own questions it does nothing.
class WorkInsideQuestions {
 public:
  explicit WorkInsideQuestions(std::function<void()> work) : work_(std::move(work)) {}
  ~WorkInsideQuestions() {
    for (auto& worker : workers_) worker.join();
  }
  WorkInsideQuestions(const WorkInsideQuestions&) = delete;
  WorkInsideQuestions& operator=(const WorkInsideQuestions&) = delete;

  void asked() {
    if (isWork) return;
    const auto done = std::make_shared<std::atomic<bool>>(false);
    workers_.emplace_back([work = work_, done] {
      isWork = true;
      work();
      *done = true;
    });
    if (waitUntil([done] { return done->load(); }, 5s)) ++ended_;
  }
  [[nodiscard]] std::size_t begun() const { return workers_.size(); }
  [[nodiscard]] std::size_t ended() const { return ended_; }

 private:
  inline static thread_local bool isWork = false;
  const std::function<void()> work_;
  std::vector<std::thread> workers_;
  std::size_t ended_ = 0;
};

}  // namespace

TEST_F(CacheObstacle, AKeyThatCannotBeHadIsOne) {
  const auto keys = std::make_shared<HostKeyStore>();
  setKeyStore(keys);
  store({"a"});
  const std::string before = fileBytes();
  keys->isThere = false;
  setKeyStore(keys);  // forgets the key

  makeManager();
  signIn("b");
  learnNick("b", "nick");

  EXPECT_TRUE(logger->hasLine(tag + ", load cacheFAILED"));
  EXPECT_EQ(logger->linesWith(tag + reasonLine + "no key").size(), 2U);
  EXPECT_EQ(savesThat("FAILED"), 1U);
  EXPECT_EQ(fileBytes(), before);
  keys->isThere = true;
  learnNick("b", "nick");
  EXPECT_EQ(savesThat("OK"), 1U);
  EXPECT_EQ(uuidsOf(storedUsers()), (std::vector<std::string>{"a", "b"}));
}

// Without a key it is asked at each save anew, and wherever else somebody might ask.
TEST_F(CacheObstacle, TheKeyStoreOfASaveMayCallTheManager) {
  makeManager();
  signIn("a");
  signIn("b");
  const auto keys = std::make_shared<HostKeyStore>();
  keys->isThere = false;
  setKeyStore(keys);
  WorkInsideQuestions work([&] { learnNick("b", "from the key store"); });
  keys->whenAsked = [&] { work.asked(); };

  learnNick("a", "nick");
  EXPECT_EQ(manager->logout("a"), resultOk);

  keys->whenAsked = {};
  EXPECT_EQ(work.begun(), 2U);
  EXPECT_EQ(work.ended(), work.begun());
}

TEST_F(CacheObstacle, TheClockOfASaveMayCallTheManager) {
  makeManager();
  signIn("a");
  signIn("b");
  learnNick("a", "nick");
  WorkInsideQuestions work([&] { learnNick("b", "from the clock"); });
  const auto clock = std::make_shared<ManualTimeSource>();
  clock->whenAsked([&] { work.asked(); });
  setTimeSource(clock);

  learnNick("a", "nick again");
  EXPECT_EQ(manager->logout("a"), resultOk);

  clock->whenAsked({});
  EXPECT_GE(work.begun(), 2U);
  EXPECT_EQ(work.ended(), work.begun());
}

TEST_F(CacheObstacle, SavesThatANewerOneCoversAreThatOne) {
  constexpr int saves = 20;
  makeManager();
  for (int user = 0; user < saves; ++user) signIn(std::to_string(user));
  const std::uint32_t before = writesOf(cacheFile());
  std::vector<std::thread> threads;
  {
    const Locker locker(cacheFile());
    for (int user = 0; user < saves; ++user) {
      threads.emplace_back([this, user] { learnNick(std::to_string(user), "covered"); });
    }
    EXPECT_TRUE(waitUntil([&] { return haveNick("covered"); }));
  }
  for (std::thread& thread : threads) thread.join();

  // One that had begun, and one for all the rest; a thread may have come between its change and its save.
  EXPECT_LE(writesOf(cacheFile()) - before, saves / 4);
  const CacheEntries stored = storedUsers();
  EXPECT_EQ(stored.size(), static_cast<std::size_t>(saves));
  for (const CacheEntry& record : stored) EXPECT_EQ(record->userNickName, "covered");
  EXPECT_EQ(savesThat("OK"), static_cast<std::size_t>(saves));
}

TEST_F(CacheObstacle, ASaveThatFailsTellsAllWhomItCovers) {
  constexpr int saves = 10;
  makeManager();
  for (int user = 0; user < saves; ++user) signIn(std::to_string(user));
  std::vector<std::thread> threads;
  {
    const Locker locker(cacheFile());
    for (int user = 0; user < saves; ++user) {
      threads.emplace_back([this, user] { learnNick(std::to_string(user), "in memory"); });
    }
    EXPECT_TRUE(waitUntil([&] { return haveNick("in memory"); }));
    block();
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(savesThat("FAILED"), static_cast<std::size_t>(saves));
  EXPECT_EQ(savesThat("OK"), 0U);
  unblock();
  learnNick("0", "in memory");
  EXPECT_EQ(savesThat("OK"), 1U);
  EXPECT_EQ(storedUsers().size(), static_cast<std::size_t>(saves));
}

// The early one is held by its clock until the late one stands in line, so that it joins last.
TEST_F(CacheObstacle, SavesThatJoinWaitAsLongAsTheLatestOfThemMay) {
  makeManager();
  for (const char* const user : {"first", "early", "late"}) signIn(user);
  const auto hasPassed = [start = std::chrono::steady_clock::now()](auto since) {
    return waitUntil([&] { return std::chrono::steady_clock::now() >= start + since; });
  };
  auto locker = std::make_unique<Locker>(cacheFile());
  std::thread first([this] { learnNick("first", "nick"); });
  EXPECT_TRUE(waitUntil([&] { return user("first").userNickName == "nick"; }));
  Flag isHeld;
  Flag mayGoOn;
  const auto clock = std::make_shared<ManualTimeSource>();
  static thread_local bool isEarly = false;
  clock->whenAsked([&] {
    if (!isEarly) return;
    isHeld.raise();
    EXPECT_TRUE(mayGoOn.wait());
  });
  setTimeSource(clock);
  std::thread early([this] {
    isEarly = true;
    learnNick("early", "nick");
  });
  EXPECT_TRUE(isHeld.wait());
  EXPECT_TRUE(hasPassed(3s));
  std::thread late([this] { learnNick("late", "nick"); });
  EXPECT_TRUE(waitUntil([&] { return user("late").userNickName == "nick"; }));
  EXPECT_TRUE(hasPassed(3500ms));
  mayGoOn.raise();

  first.join();
  EXPECT_EQ(savesThat("FAILED"), 1U);
  EXPECT_TRUE(hasPassed(5500ms));
  locker.reset();
  early.join();
  late.join();
  clock->whenAsked({});

  EXPECT_EQ(savesThat("OK"), 2U);
}
