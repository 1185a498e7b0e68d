#include "foundation/system/System.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using namespace KBL;

TEST(DetachedThread, RunsWhatItWasGivenAndLetsGoOfIt) {
  const auto given = std::make_shared<std::atomic<bool>>(false);
  ASSERT_TRUE(System::startDetached([given] { *given = true; }));

  EXPECT_TRUE(waitUntil([&] { return given->load(); }));
  EXPECT_TRUE(waitUntil([&] { return given.use_count() == 1; }));
}

// Many end while they are being let go of: no record of one may serve two later ones.
TEST(DetachedThread, EachOfManyThatEndAtOnceRunsOnce) {
  constexpr int makers = 3;
  constexpr int made = 400;
  const auto runs = std::make_shared<std::vector<std::atomic<int>>>(makers * made);
  std::vector<std::thread> threads;
  for (int maker = 0; maker < makers; ++maker) {
    threads.emplace_back([&runs, maker] {
      for (int index = 0; index < made; ++index) {
        const auto place = static_cast<std::size_t>(maker * made + index);
        EXPECT_TRUE(System::startDetached([runs, place] { ++(*runs)[place]; }));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_TRUE(waitUntil([&] { return runs.use_count() == 1; }));
  for (const std::atomic<int>& count : *runs) EXPECT_EQ(count, 1);
}
