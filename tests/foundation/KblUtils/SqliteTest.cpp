#include "SqliteTools.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

using KBL::KblSqliteUnit;
using KBL::resultFailed;
using KBL::resultOk;

namespace fs = std::filesystem;

TEST(Sqlite, OpenMakesAMissingFile) {
  const TemporaryDirectory directory;
  KblSqliteUnit unit;

  EXPECT_EQ(unit.isOpened(), 0);
  EXPECT_EQ(unit.open(directory.file("cache.db").c_str()), resultOk);

  EXPECT_EQ(unit.isOpened(), 1);
  EXPECT_TRUE(fs::exists(directory.path() / "cache.db"));
  EXPECT_EQ(unit.close(), resultOk);
  EXPECT_EQ(unit.isOpened(), 0);
}

TEST(Sqlite, OpenFailsWithoutPathOrDirectoryAndOnADirectory) {
  const TemporaryDirectory directory;
  KblSqliteUnit unit;

  EXPECT_EQ(unit.open(nullptr), resultFailed);
  EXPECT_EQ(unit.open(""), resultFailed);
  EXPECT_EQ(unit.open(directory.file("missing/cache.db").c_str()), resultFailed);
  EXPECT_EQ(unit.open(directory.file("").c_str()), resultFailed);

  EXPECT_EQ(unit.isOpened(), 0);
}

TEST(Sqlite, NamesThatSqliteTreatsSpeciallyAreFileNames) {
  const TemporaryDirectory directory;
  const fs::path before = fs::current_path();
  fs::current_path(directory.path());

  const bool stored = store(":memory:", "one") == resultOk && store("file:two.db", "two") == resultOk;
  fs::current_path(before);

  EXPECT_TRUE(stored);
  EXPECT_TRUE(fs::exists(directory.path() / ":memory:"));
  EXPECT_TRUE(fs::exists(directory.path() / "file:two.db"));
}

TEST(Sqlite, OpenEndsWhatWasOpenBefore) {
  const TemporaryDirectory directory;
  KblSqliteUnit unit;
  ASSERT_EQ(unit.open(directory.file("one.db").c_str()), resultOk);
  ASSERT_EQ(unit.open(directory.file("two.db").c_str()), resultOk);

  ASSERT_EQ(unit.setSettingValue(table, key, "second"), resultOk);
  EXPECT_EQ(unit.open(directory.file("missing/three.db").c_str()), resultFailed);

  EXPECT_EQ(unit.isOpened(), 0);
  EXPECT_FALSE(load(directory.file("one.db")));
  EXPECT_EQ(load(directory.file("two.db")), "second");
}

TEST(Sqlite, StoredValueIsReadBackByAnotherUnit) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");

  ASSERT_EQ(store(path, "first"), resultOk);
  ASSERT_EQ(store(path, "second"), resultOk);

  EXPECT_EQ(load(path), "second");
}

TEST(Sqlite, ValuesOfEveryLengthComeBackWhole) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  for (const std::size_t length : {0U, 1U, 4095U, 4096U, 100'000U, 8U << 20}) {
    const std::string value(length, 'f');

    ASSERT_EQ(store(path, value), resultOk) << length;

    EXPECT_TRUE(load(path) == value) << length;
  }
}

TEST(Sqlite, ValueAboveTheLimitIsRefusedAndTheOldOneStays) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "old"), resultOk);

  EXPECT_EQ(store(path, std::string((64U << 20) + 1, 'f')), resultFailed);

  EXPECT_EQ(load(path), "old");
}

TEST(Sqlite, KeysAndValuesAreDataAndNeverStatements) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  const char* const hostile = "'); DROP TABLE \"AppSetting\"; --";

  ASSERT_EQ(store(path, "kept"), resultOk);
  ASSERT_EQ(store(path, hostile, hostile), resultOk);

  EXPECT_EQ(load(path), "kept");
  EXPECT_EQ(load(path, hostile), hostile);
}

TEST(Sqlite, TableNamesAreCheckedBeforeAnythingHappens) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "kept"), resultOk);
  KblSqliteUnit unit;
  ASSERT_EQ(unit.open(path.c_str()), resultOk);
  char* value = nullptr;

  for (const char* name : {"", "a b", "a\"b", "a;b", "1a", "sqlite_schema", "SQLite_x", "\xC3\xA4"}) {
    EXPECT_EQ(unit.createSettingTable(name), resultFailed) << name;
    EXPECT_EQ(unit.setSettingValue(name, key, "x"), resultFailed) << name;
    EXPECT_EQ(unit.getSettingValue(name, key, &value), resultFailed) << name;
  }
  EXPECT_EQ(unit.createSettingTable(nullptr), resultFailed);
  EXPECT_EQ(unit.createSettingTable(std::string(65, 'a').c_str()), resultFailed);
  EXPECT_EQ(unit.setSettingValue("Order", key, "a keyword of the language"), resultOk);

  EXPECT_EQ(load(path), "kept");
}

TEST(Sqlite, NullArgumentsFail) {
  const TemporaryDirectory directory;
  KblSqliteUnit unit;
  ASSERT_EQ(unit.open(directory.file("cache.db").c_str()), resultOk);
  char* value = nullptr;

  EXPECT_EQ(unit.setSettingValue(nullptr, key, "x"), resultFailed);
  EXPECT_EQ(unit.setSettingValue(table, nullptr, "x"), resultFailed);
  EXPECT_EQ(unit.setSettingValue(table, key, nullptr), resultFailed);
  EXPECT_EQ(unit.getSettingValue(table, nullptr, &value), resultFailed);
  EXPECT_EQ(unit.getSettingValue(table, key, nullptr), resultFailed);
  KblSqliteUnit::freeSettingValue(nullptr);
}

TEST(Sqlite, EverythingFailsOnAClosedUnit) {
  KblSqliteUnit unit;
  char* value = nullptr;

  EXPECT_EQ(unit.createSettingTable(table), resultFailed);
  EXPECT_EQ(unit.setSettingValue(table, key, "x"), resultFailed);
  EXPECT_EQ(unit.getSettingValue(table, key, &value), resultFailed);
  EXPECT_EQ(unit.close(), resultOk);
}

TEST(Sqlite, MissingTableFailsAndMissingKeyIsNull) {
  const TemporaryDirectory directory;
  KblSqliteUnit unit;
  ASSERT_EQ(unit.open(directory.file("cache.db").c_str()), resultOk);
  char untouched = 0;
  char* value = &untouched;

  EXPECT_EQ(unit.getSettingValue(table, key, &value), resultFailed);
  EXPECT_EQ(value, nullptr);

  ASSERT_EQ(unit.createSettingTable(table), resultOk);
  ASSERT_EQ(unit.createSettingTable(table), resultOk);
  value = &untouched;
  EXPECT_EQ(unit.getSettingValue(table, key, &value), resultOk);
  EXPECT_EQ(value, nullptr);
}

TEST(Sqlite, NonAsciiPathsWork) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("K\xC3\xA4se \xE6\xB5\x8B\xE8\xAF\x95 \xF0\x9F\x8E\xA5.db");

  ASSERT_EQ(store(path, "value"), resultOk);

  EXPECT_EQ(load(path), "value");
  EXPECT_EQ(directory.entries(), 1U);
}

TEST(Sqlite, NothingButTheFileIsLeftAfterClose) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  for (int round = 0; round < 3; ++round) ASSERT_EQ(store(path, std::string(50'000, 'x')), resultOk);

  EXPECT_EQ(directory.entries(), 1U);
}

TEST(Sqlite, ReplacedValueIsNoLongerInTheFile) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "SECRET-OF-YESTERDAY" + std::string(20'000, 'x')), resultOk);
  ASSERT_NE(directory.read("cache.db").find("SECRET-OF-YESTERDAY"), std::string::npos);

  ASSERT_EQ(store(path, "short"), resultOk);

  EXPECT_EQ(directory.read("cache.db").find("SECRET-OF-YESTERDAY"), std::string::npos);
}

TEST(Sqlite, AValueTakesTheRoomOfTheFormerOne) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, std::string(3'000'000, 'x')), resultOk);
  const auto size = std::filesystem::file_size(path);

  ASSERT_EQ(store(path, std::string(3'000'001, 'y')), resultOk);

  EXPECT_EQ(std::filesystem::file_size(path), size);
}

TEST(Sqlite, FileOfAnotherProgramInWriteAheadModeIsTakenOver) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "PRAGMA journal_mode=WAL; CREATE TABLE mine(x); INSERT INTO mine VALUES(1)",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(other);

  ASSERT_EQ(store(path, "value"), resultOk);

  EXPECT_EQ(load(path), "value");
  EXPECT_EQ(directory.entries(), 1U);
  ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(other, "SELECT x FROM mine", nullptr, nullptr, nullptr), SQLITE_OK)
      << "a table of somebody else was lost";
  sqlite3_close(other);
}

TEST(Sqlite, ThreadsWithUnitsOfTheirOwnSaveAtOnce) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  constexpr int threads = 4;
  constexpr int saves = 15;
  std::atomic<int> failures = 0;
  std::vector<std::thread> workers;
  for (int worker = 0; worker < threads; ++worker) {
    workers.emplace_back([&, worker] {
      const std::string own = "key" + std::to_string(worker);
      for (int save = 0; save < saves; ++save) {
        const std::string value = own + ":" + std::to_string(save);
        if (store(path, value, own.c_str()) != resultOk) ++failures;
        if (load(path, own.c_str()) != value) ++failures;
      }
    });
  }
  for (std::thread& worker : workers) worker.join();

  EXPECT_EQ(failures, 0);
  for (int worker = 0; worker < threads; ++worker) {
    const std::string own = "key" + std::to_string(worker);
    EXPECT_EQ(load(path, own.c_str()), own + ":" + std::to_string(saves - 1));
  }
}

#if !defined(_WIN32)

namespace {

fs::perms modeOf(const std::string& path) {
  return fs::status(path).permissions();
}

constexpr fs::perms ownerOnly = fs::perms::owner_read | fs::perms::owner_write;

}  // namespace

TEST(Sqlite, NewFileIsReadableByItsOwnerOnly) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  KblSqliteUnit unit;

  ASSERT_EQ(unit.open(path.c_str()), resultOk);
  EXPECT_EQ(modeOf(path), ownerOnly);

  ASSERT_EQ(unit.setSettingValue(table, key, "x"), resultOk);
  EXPECT_EQ(modeOf(path), ownerOnly);
}

TEST(Sqlite, ExistingFileLosesTheRightsOfOthers) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("cache.db", "");
  fs::permissions(path, fs::perms(0666));

  ASSERT_EQ(store(path, "x"), resultOk);

  EXPECT_EQ(modeOf(path), ownerOnly);
}

TEST(Sqlite, JournalIsReadableByItsOwnerOnly) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, std::string(200'000, 'x')), resultOk);
  std::atomic<bool> done = false;
  std::atomic<int> journals = 0;
  std::atomic<int> open = 0;
  std::thread watcher([&] {
    while (!done) {
      std::error_code gone;
      const fs::perms mode = fs::status(path + "-journal", gone).permissions();
      if (gone || mode == fs::perms::unknown || mode == fs::perms::none) continue;
      ++journals;
      if (mode != ownerOnly) ++open;
    }
  });

  for (int save = 0; save < 2000 && journals < 5; ++save) {
    ASSERT_EQ(store(path, std::string(200'000, static_cast<char>('a' + save % 26))), resultOk);
  }
  done = true;
  watcher.join();

  EXPECT_GE(journals, 5);
  EXPECT_EQ(open, 0);
}

#endif
