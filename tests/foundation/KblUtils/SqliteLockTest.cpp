// A file that another process holds, that the disk keeps away, or that is not ours: how long a
// unit waits, and what it says of the failure.

#include "SqliteTools.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <memory>

using KBL::KblSqliteUnit;
using KBL::resultFailed;
using KBL::resultOk;
using namespace std::chrono_literals;

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

/// Far above what a loaded machine adds, far below what a wait without a limit takes.
constexpr auto slack = 20s;

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
using OtherProgram = std::unique_ptr<sqlite3, CloseDatabase>;

OtherProgram openedElsewhere(const std::string& path, const char* sql) {
  sqlite3* database = nullptr;
  EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
  return OtherProgram(database);
}

}  // namespace

TEST(SqliteLock, OpeningGivesUpAtTheDeadlineAndSaysWhy) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "value"), resultOk);
  ChildProcess other({LOCKER_PROGRAM, path});
  std::string line;
  ASSERT_TRUE(other.readLine(line));
  KblSqliteUnit unit;

  const auto start = Clock::now();
  EXPECT_EQ(unit.open(path.c_str(), start + 200ms), resultFailed);
  const auto took = Clock::now() - start;

  EXPECT_GE(took, 200ms);
  EXPECT_LT(took, slack);
  EXPECT_EQ(unit.isOpened(), 0);
  EXPECT_FALSE(unit.failedByContents());
  EXPECT_STREQ(unit.failure(), "database is locked");
  other.kill();
  (void)other.wait();
  EXPECT_EQ(load(path), "value");
}

TEST(SqliteLock, AllCallsOfAUnitShareOneDeadline) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "value"), resultOk);
  KblSqliteUnit unit;
  const auto start = Clock::now();
  ASSERT_EQ(unit.open(path.c_str(), start + 1s), resultOk);
  const auto other = openedElsewhere(path, "BEGIN EXCLUSIVE");

  for (int call = 0; call < 40; ++call) {
    char* value = nullptr;
    EXPECT_EQ(unit.getSettingValue(table, key, &value), resultFailed);
    EXPECT_FALSE(unit.failedByContents());
    EXPECT_EQ(unit.setSettingValue(table, key, "other"), resultFailed);
    EXPECT_FALSE(unit.failedByContents());
    EXPECT_EQ(unit.createSettingTable("Other"), resultFailed);
  }

  EXPECT_GE(Clock::now() - start, 1s);
  EXPECT_LT(Clock::now() - start, slack);
}

TEST(SqliteLock, WithoutADeadlineItIsFiveSeconds) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  const auto other = openedElsewhere(path, "BEGIN EXCLUSIVE");
  KblSqliteUnit unit;

  const auto start = Clock::now();
  EXPECT_EQ(unit.open(path.c_str()), resultFailed);

  EXPECT_GE(Clock::now() - start, 5s);
  EXPECT_LT(Clock::now() - start, 5s + slack);
}

TEST(SqliteLock, AFileThatIsFreeNeedsNoTime) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  KblSqliteUnit unit;

  ASSERT_EQ(unit.open(path.c_str(), Clock::now() - 1s), resultOk);

  EXPECT_EQ(unit.setSettingValue(table, key, "value"), resultOk);
  EXPECT_STREQ(unit.failure(), "");
}

TEST(SqliteLock, WriteAheadModeOfARunningProgramHoldsNobodyOff) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "first"), resultOk);
  const auto other = openedElsewhere(path, "PRAGMA journal_mode=WAL; CREATE TABLE mine(x)");

  EXPECT_EQ(load(path), "first");
  EXPECT_EQ(store(path, "second"), resultOk);

  EXPECT_EQ(load(path), "second");
}

TEST(SqliteLock, WhatTheFileLacksIsToldFromWhatKeepsItAway) {
  const TemporaryDirectory directory;
  KblSqliteUnit unit;
  char* value = nullptr;

  ASSERT_EQ(unit.open(directory.file("new.db").c_str()), resultOk);
  EXPECT_EQ(unit.getSettingValue(table, key, &value), resultFailed);
  EXPECT_TRUE(unit.failedByContents());
  EXPECT_EQ(unit.createSettingTable(table), resultOk);
  EXPECT_FALSE(unit.failedByContents());

  ASSERT_EQ(unit.open(directory.write("garbage.db", std::string(5000, 'g')).c_str()), resultOk);
  EXPECT_EQ(unit.getSettingValue(table, key, &value), resultFailed);
  EXPECT_TRUE(unit.failedByContents());
  EXPECT_EQ(unit.createSettingTable(table), resultFailed);
  EXPECT_TRUE(unit.failedByContents());

  EXPECT_EQ(unit.open(directory.file("missing/cache.db").c_str()), resultFailed);
  EXPECT_FALSE(unit.failedByContents());
  EXPECT_STREQ(unit.failure(), "unable to open database file");

  EXPECT_EQ(unit.getSettingValue(table, key, &value), resultFailed);
  EXPECT_FALSE(unit.failedByContents());
}

TEST(SqliteLock, AJournalThatCannotBeMadeIsNoDefectOfANewFile) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("cache.db", "");
  fs::create_directory(path + "-journal");
  KblSqliteUnit unit;
  ASSERT_EQ(unit.open(path.c_str()), resultOk);

  EXPECT_EQ(unit.createSettingTable(table), resultFailed);

  EXPECT_FALSE(unit.failedByContents());
}

TEST(SqliteLock, AValueAboveTheLimitIsNoneOfOursAndIsReplaced) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "value"), resultOk);
  (void)openedElsewhere(path, "UPDATE AppSetting SET value = hex(zeroblob(33554500))");
  KblSqliteUnit unit;
  ASSERT_EQ(unit.open(path.c_str()), resultOk);
  char* value = nullptr;

  EXPECT_EQ(unit.getSettingValue(table, key, &value), resultFailed);
  EXPECT_TRUE(unit.failedByContents());

  EXPECT_EQ(unit.setSettingValue(table, key, "next"), resultOk);
  EXPECT_EQ(load(path), "next");
}
