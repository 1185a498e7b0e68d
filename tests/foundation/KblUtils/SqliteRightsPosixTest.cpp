// A file that its rights keep away, or a folder in its journal's place, which SQLite reads on POSIX systems
// alone: what a unit says of the failure.
#include "SqliteTools.h"
#include "support/ForkedProcesses.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

using KBL::KblSqliteUnit;
using KBL::resultFailed;
using KBL::resultOk;

namespace fs = std::filesystem;

namespace {

/// What `work` returns in a child process that the file rights bind, whoever runs the test.
template <class Work>
int asAnybody(Work work) {
  return inForkedProcesses(1,
                           [&](int) {
                             constexpr uid_t nobody = 65534;
                             return ::geteuid() == 0 && ::setuid(nobody) != 0 ? 99 : work();
                           })
      .front();
}

}  // namespace

TEST(SqliteLock, AJournalThatCannotBeReadIsNoticedOnOpening) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "value"), resultOk);
  fs::create_directory(path + "-journal");
  KblSqliteUnit unit;

  EXPECT_EQ(unit.open(path.c_str()), resultFailed);
  EXPECT_FALSE(unit.failedByContents());
  EXPECT_STREQ(unit.failure(), "disk I/O error");

  fs::remove(path + "-journal");
  EXPECT_EQ(load(path), "value");
}

TEST(SqliteLock, AWriteProtectedFileIsReadAndNotTakenForADamagedOne) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "value"), resultOk);
  ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);

  const int code = asAnybody([&] {
    KblSqliteUnit unit;
    if (unit.open(path.c_str()) != resultOk) return 1;
    if (load(path) != "value") return 2;
    if (unit.setSettingValue(table, key, "other") != resultFailed) return 3;
    return unit.failedByContents() ? 4 : 0;
  });

  EXPECT_EQ(code, 0);
  EXPECT_EQ(load(path), "value");
}

TEST(SqliteLock, AFileThatMayNotBeReadIsNotTakenForADamagedOne) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  ASSERT_EQ(store(path, "value"), resultOk);
  ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(path.c_str(), 0000), 0);

  const int code = asAnybody([&] {
    KblSqliteUnit unit;
    char* value = nullptr;
    const bool isRead =
        unit.open(path.c_str()) == resultOk && unit.getSettingValue(table, key, &value) == resultOk;
    return isRead ? 1 : unit.failedByContents() ? 2 : 0;
  });

  EXPECT_EQ(code, 0);
}
