// A disk that is full, in whose place a limit of a process stands that POSIX systems have.
#include "SavedValue.h"
#include "Saver.h"
#include "SqliteTools.h"
#include "support/ChildProcess.h"
#include "support/Seed.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using KBL::resultOk;

TEST(SqliteCrash, FullDiskLeavesTheOldValue) {
  const TemporaryDirectory directory;
  std::mt19937_64 random = seededGenerator();
  const std::string path = directory.file("cache.db");
  constexpr long large = 6;  // its value is the largest
  constexpr int rounds = 40;
  int refused = 0;
  for (int round = 0; round < rounds; ++round) {
    ASSERT_EQ(store(path, "old"), resultOk);
    const std::string bytes = std::to_string(random() % 45'000);

    ChildProcess child(saver(path, large, 1, bytes));
    const int code = child.wait();

    ASSERT_TRUE(code == 0 || code == 1) << "with " << bytes << " bytes: " << code;
    refused += code;
    const std::string left = load(path).value_or("nothing");
    ASSERT_TRUE(code == 0 ? numberOfSavedValue(left) == large : left == "old")
        << "with " << bytes << " bytes: " << left.substr(0, 40);
  }
  EXPECT_GT(refused, 0);
}

TEST(SqliteCrash, FullDiskDuringTheRescueOfAGarbageFileLeavesItUsable) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("cache.db", std::string(9'000, 'g'));

  ChildProcess child(saver(path, 6, 1, "12000"));
  ASSERT_EQ(child.wait(), 1);

  EXPECT_FALSE(load(path));
  EXPECT_EQ(store(path, "next"), resultOk);
  EXPECT_EQ(load(path), "next");
}
