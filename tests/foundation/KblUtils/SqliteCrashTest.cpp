#include "SavedValue.h"
#include "Saver.h"
#include "SqliteTools.h"
#include "support/ChildProcess.h"
#include "support/Seed.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

using KBL::resultOk;

namespace fs = std::filesystem;

namespace {

void sleepMicroseconds(std::mt19937_64& random, unsigned most) {
  std::this_thread::sleep_for(std::chrono::microseconds(random() % most));
}

/// The number that the last whole line of the child's remaining output tells, or `none`.
long lastReported(ChildProcess& child, long none) {
  std::string line;
  while (child.readLine(line)) none = std::stol(line);
  return none;
}

}  // namespace

TEST(SqliteCrash, KilledWriterLeavesTheOldValueOrTheNewOne) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  std::mt19937_64 random = seededGenerator();
  constexpr int rounds = 60;
  constexpr long manySaves = 1'000'000;
  long first = 1;
  for (int round = 0; round < rounds; ++round) {
    ChildProcess child(saver(path, first, manySaves));
    std::string line;
    ASSERT_TRUE(child.readLine(line));
    sleepMicroseconds(random, 30'000);
    child.kill();
    const long reported = lastReported(child, std::stol(line));
    ASSERT_EQ(child.wait(), ChildProcess::killed);

    const std::string left = load(path).value_or("nothing");
    const long number = numberOfSavedValue(left);

    ASSERT_NE(number, -1) << "in round " << round << ": " << left.substr(0, 40);
    ASSERT_TRUE(number == reported || number == reported + 1)
        << "in round " << round << ": " << number << " after " << reported;
    first = number + 1;
  }
}

TEST(SqliteCrash, KillDuringTheRescueOfAGarbageFileLeavesItUsable) {
  const TemporaryDirectory directory;
  std::mt19937_64 random = seededGenerator();
  constexpr int rounds = 60;
  for (int round = 0; round < rounds; ++round) {
    const std::string path = directory.write("cache.db", std::string(40'000, 'g'));
    {
      const ChildProcess child(saver(path, round, 1));
      sleepMicroseconds(random, 20'000);
    }

    const std::optional<std::string> left = load(path);

    if (left) {
      ASSERT_EQ(numberOfSavedValue(*left), round);
    }
    ASSERT_EQ(store(path, "next"), resultOk) << "in round " << round;
    ASSERT_EQ(load(path), "next") << "in round " << round;
  }
}

TEST(SqliteCrash, TwoProcessesSavingAtOnceBothSucceed) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("cache.db");
  constexpr long saves = 100;

  ChildProcess one(saver(path, 0, saves));
  ChildProcess two(saver(path, 1000, saves));

  EXPECT_EQ(one.wait(), 0);
  EXPECT_EQ(two.wait(), 0);
  const long number = numberOfSavedValue(load(path).value_or(""));
  EXPECT_TRUE(number == saves - 1 || number == 1000 + saves - 1) << number;
}

TEST(SqliteCrash, ProcessesThatRescueAGarbageFileAtOnceAllSucceed) {
  const TemporaryDirectory directory;
  constexpr int rounds = 10;
  constexpr long processes = 4;
  for (int round = 0; round < rounds; ++round) {
    const std::string path = directory.write("cache.db", std::string(40'000, 'g'));
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (long process = 0; process < processes; ++process) {
      children.push_back(std::make_unique<ChildProcess>(saver(path, process, 1)));
    }

    for (const auto& child : children) EXPECT_EQ(child->wait(), 0);

    const long number = numberOfSavedValue(load(path).value_or(""));
    EXPECT_TRUE(number >= 0 && number < processes) << number;
    fs::remove(path);
  }
}
