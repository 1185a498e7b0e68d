#include "SqliteTools.h"
#include "support/Seed.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <vector>

using KBL::KblSqliteUnit;
using KBL::resultFailed;
using KBL::resultOk;

namespace {

std::string randomBytes(std::mt19937_64& random, std::size_t count) {
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() & 0xFF);
  return bytes;
}

void runSql(const std::string& path, const char* sql) {
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
  sqlite3_close(database);
}

}  // namespace

TEST(SqliteGarbage, OpensReadsNothingAndIsWrittenAnew) {
  const TemporaryDirectory directory;
  std::mt19937_64 random = seededGenerator();
  const std::vector<std::string> files = {
      "x",
      "this is no database",
      std::string(100'000, '\0'),
      std::string("SQLite format 3\0", 16),
      std::string("SQLite format 3\0", 16) + std::string(84, '\0'),
      std::string("SQLite format 3\0", 16) + randomBytes(random, 84),
      std::string("SQLite format 3\0", 16) + randomBytes(random, 8176),
      randomBytes(random, 511),
      randomBytes(random, 4096),
      randomBytes(random, 70'001),
  };
  for (std::size_t place = 0; place < files.size(); ++place) {
    const std::string path = directory.write("cache.db", files[place]);
    KblSqliteUnit unit;
    ASSERT_EQ(unit.open(path.c_str()), resultOk) << place;
    char* value = nullptr;
    EXPECT_EQ(unit.getSettingValue(table, key, &value), resultFailed) << place;
    EXPECT_EQ(value, nullptr) << place;

    EXPECT_EQ(unit.setSettingValue(table, key, "anew"), resultOk) << place;

    EXPECT_EQ(unit.getSettingValue(table, key, &value), resultOk) << place;
    EXPECT_STREQ(value, "anew") << place;
    KblSqliteUnit::freeSettingValue(value);
    unit.close();
    EXPECT_EQ(load(path), "anew") << place;
    EXPECT_EQ(directory.read("cache.db").substr(0, 15), "SQLite format 3") << place;
  }
}

TEST(SqliteGarbage, CreatingATableOnItFailsAndLeavesItAlone) {
  const TemporaryDirectory directory;
  const std::string garbage(5000, 'g');
  KblSqliteUnit unit;
  ASSERT_EQ(unit.open(directory.write("cache.db", garbage).c_str()), resultOk);

  EXPECT_EQ(unit.createSettingTable(table), resultFailed);

  EXPECT_EQ(directory.read("cache.db"), garbage);
}

TEST(SqliteGarbage, LeftoverJournalAndWriteAheadFilesDoNoHarm) {
  const TemporaryDirectory directory;
  std::mt19937_64 random = seededGenerator();
  for (int round = 0; round < 20; ++round) {
    const std::string path = directory.write("cache.db", round % 2 == 0 ? "" : randomBytes(random, 9000));
    directory.write("cache.db-journal", randomBytes(random, 3000));
    directory.write("cache.db-wal", randomBytes(random, 5000));

    ASSERT_EQ(store(path, "value"), resultOk) << round;

    EXPECT_EQ(load(path), "value") << round;
    EXPECT_FALSE(std::filesystem::exists(path + "-journal")) << round;
    EXPECT_FALSE(std::filesystem::exists(path + "-wal")) << round;
  }
}

TEST(SqliteGarbage, TablesOfAnotherShapeAreUsedOrReplaced) {
  const TemporaryDirectory directory;
  const std::vector<const char*> shapes = {
      "CREATE TABLE AppSetting(a, b)",
      "CREATE TABLE AppSetting(key TEXT, value TEXT)",
      "CREATE VIEW AppSetting AS SELECT 'Authorize' AS key, 'x' AS value",
      "CREATE TABLE AppSetting(key TEXT PRIMARY KEY, value TEXT, more TEXT NOT NULL)",
      "CREATE TABLE AppSetting(key TEXT PRIMARY KEY, value INTEGER CHECK (value < 10))",
      "CREATE TABLE AppSetting(key TEXT PRIMARY KEY, value TEXT GENERATED ALWAYS AS ('x'))",
  };
  for (const char* shape : shapes) {
    const std::string path = directory.write("cache.db", "");
    runSql(path, shape);

    for (const char* const value : {"value", "other value"}) {
      ASSERT_EQ(store(path, value), resultOk) << shape;

      EXPECT_EQ(load(path), value) << shape;
    }
  }
}

TEST(SqliteGarbage, TriggersOfTheFileDoNotRun) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "first"), resultOk);
  runSql(
      path,
      "CREATE TRIGGER spoilNew AFTER INSERT ON AppSetting BEGIN UPDATE AppSetting SET value = 'spoiled'; END;"
      "CREATE TRIGGER spoilOld AFTER UPDATE ON AppSetting BEGIN UPDATE AppSetting SET value = 'spoiled'; "
      "END");

  ASSERT_EQ(store(path, "second"), resultOk);

  EXPECT_EQ(load(path), "second");
}

TEST(SqliteGarbage, NullAndBinaryValuesReadAsTexts) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("cache.db", "");
  runSql(path,
         "CREATE TABLE AppSetting(key PRIMARY KEY, value);"
         "INSERT INTO AppSetting VALUES('null', NULL), ('binary', x'414200FF'), ('number', 17)");

  EXPECT_EQ(load(path, "null"), "");
  EXPECT_EQ(load(path, "binary"), "AB");
  EXPECT_EQ(load(path, "number"), "17");
}

TEST(SqliteGarbage, DamagedDatabasesNeverCrashAndAreWritable) {
  const TemporaryDirectory directory;
  std::mt19937_64 random = seededGenerator();
  const std::string good = directory.file("good.db");
  ASSERT_EQ(store(good, std::string(30'000, 'v')), resultOk);
  ASSERT_EQ(store(good, "other value", "other"), resultOk);
  const std::string whole = directory.read("good.db");
  constexpr int rounds = 150;
  for (int round = 0; round < rounds; ++round) {
    std::string damaged = whole;
    const std::size_t flips = 1 + random() % 20;
    for (std::size_t flip = 0; flip < flips; ++flip) {
      const std::size_t range = random() % 2 == 0 ? 200 : damaged.size();
      damaged[random() % range] = static_cast<char>(random() & 0xFF);
    }
    if (random() % 4 == 0) damaged.resize(random() % damaged.size());
    const std::string path = directory.write("cache.db", damaged);
    (void)load(path);

    ASSERT_EQ(store(path, "anew"), resultOk) << "in round " << round;

    ASSERT_EQ(load(path), "anew") << "in round " << round;
  }
}
