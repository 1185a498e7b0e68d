#include "foundation/object/Snapshot.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

TEST(Snapshot, ReaderKeepsWhatItReadWhileAWriterPublishes) {
  KBL::Snapshot<std::vector<int>> list(std::vector<int>{1});
  const auto before = list.read();

  list.change([](std::vector<int>& value) { value.push_back(2); });

  EXPECT_EQ(*before, (std::vector<int>{1}));
  EXPECT_EQ(*list.read(), (std::vector<int>{1, 2}));
}

TEST(Snapshot, ChangeReturnsWhatTheEditReturns) {
  KBL::Snapshot<std::vector<int>> list;

  EXPECT_EQ(list.change([](std::vector<int>& value) {
    value.push_back(7);
    return value.size();
  }),
            1U);
}

TEST(Snapshot, WritersLoseNothingAndReadersSeeWholeValues) {
  KBL::Snapshot<std::vector<int>> pairs;
  std::atomic<bool> torn{false};
  std::atomic<bool> done{false};
  std::thread reader([&] {
    while (!done) {
      if (pairs.read()->size() % 2 != 0) torn = true;
    }
  });
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 4; ++writer) {
    writers.emplace_back([&] {
      for (int i = 0; i < 100; ++i) {
        pairs.change([](std::vector<int>& value) { value.insert(value.end(), {1, 2}); });
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  done = true;
  reader.join();

  EXPECT_FALSE(torn);
  EXPECT_EQ(pairs.read()->size(), 800U);
}

TEST(Snapshot, AFormerValueEndsOutsideOfTheLocks) {
  KBL::Snapshot<std::shared_ptr<int>> published;
  std::atomic<bool> changed{false};
  std::thread other;
  bool waited = false;
  const auto changeOnAnotherThread = [&](int* ended) {
    delete ended;
    other = std::thread([&] {
      published.change([](std::shared_ptr<int>&) {});
      changed = true;
    });
    waited = waitUntil([&] { return changed.load(); });
  };
  published.change([&](std::shared_ptr<int>& value) { value.reset(new int(1), changeOnAnotherThread); });

  published.change([](std::shared_ptr<int>& value) { value.reset(); });

  EXPECT_TRUE(waited);
  if (other.joinable()) other.join();
}

}  // namespace
