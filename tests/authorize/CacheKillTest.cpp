// A process that is killed while it saves leaves the old list or the new one, whatever the instant: a manager
// that is made behind it finds all of its users, of one generation.

#include "authorize/ManagerFixture.h"
#include "support/ChildProcess.h"
#include "support/Seed.h"

#include <chrono>
#include <filesystem>
#include <thread>

namespace {

class CacheKill : public ManagerFixture, public testing::WithParamInterface<int> {
 protected:
  void SetUp() override { std::filesystem::create_directories(directory.file("cache")); }

  /// The generation of the list that a new manager finds, -1 when it is not whole.
  long foundGeneration() {
    makeManager();
    const KBL::CacheEntries list = context().cacheEntries;
    releaseManager();
    if (list.size() != 20) return -1;
    for (const auto& record : list) {
      if (record->userNickName != list.front()->userNickName) return -1;
    }
    return std::stol(list.front()->userNickName);
  }
};

}  // namespace

TEST_P(CacheKill, AKilledSaveLeavesTheOldListOrTheNewOne) {
  auto generator = seededGenerator();
  long first = 1;
  for (int round = 0; round < KBL_CACHE_KILLS; ++round) {
    ChildProcess child(
        {KBL_SAVING_HOST, directory.file("keys"), directory.file("cache"), std::to_string(first)});
    std::string line;
    ASSERT_TRUE(child.readLine(line)) << "the next save works";
    // The instant of the death is what varies, over more than one save.
    std::this_thread::sleep_for(std::chrono::microseconds(generator() % 30'000));
    child.kill();
    long told = std::stol(line);
    while (child.readLine(line)) told = std::stol(line);
    EXPECT_EQ(child.wait(), ChildProcess::killed);

    const long found = foundGeneration();

    ASSERT_TRUE(found == told || found == told + 1) << found << " was found behind " << told;
    first = found + 1;
  }
}

INSTANTIATE_TEST_SUITE_P(, CacheKill, testing::Range(0, 4));
