#include "report/Progress.h"

#include <gtest/gtest.h>

namespace host {
namespace {

using std::chrono::seconds;

constexpr std::uint64_t mebi = std::uint64_t{1} << 20;
const Progress::Clock::time_point start{};

TEST(Progress, ReckonsBytesRateAndTimeLeftFromThePercentage) {
  Progress progress(100 * mebi, start);
  progress.advance(25);
  EXPECT_EQ(progress.bytes(), 25 * mebi);
  EXPECT_DOUBLE_EQ(progress.rate(start + seconds(5)), 5.0 * mebi);
  EXPECT_EQ(progress.left(start + seconds(5)), seconds(15));
}

TEST(Progress, BarShowsPercentBytesRateAndTimeLeft) {
  Progress progress(25 * mebi, start);
  progress.advance(50);
  EXPECT_EQ(progress.bar(start + seconds(4), 100),
            "[####################--------------------]  50%  12.5/25.0 MiB  3.1 MiB/s  0:04 left");
}

TEST(Progress, FullBarHasNoTimeLeft) {
  Progress progress(25 * mebi, start);
  progress.advance(100);
  EXPECT_EQ(progress.bar(start + seconds(4), 100),
            "[########################################] 100%  25.0/25.0 MiB  6.2 MiB/s");
}

TEST(Progress, SaysNothingOfRateAndTimeAtTheStart) {
  const Progress progress(25 * mebi, start);
  EXPECT_EQ(progress.bar(start + seconds(1), 60), "[" + std::string(38, '-') + "]   0%  0.0/25.0 MiB");
  EXPECT_LT(progress.left(start + seconds(1)).count(), 0);
}

TEST(Progress, BarNeverExceedsTheWidth) {
  Progress progress(3072 * mebi, start);
  progress.advance(33);
  for (int width = 0; width < 200; ++width) {
    EXPECT_LE(progress.bar(start + seconds(7000), width).size(), static_cast<std::size_t>(width));
  }
}

TEST(Progress, AmountsAreInTheLargestUnitOfWhichTheyHaveOne) {
  EXPECT_EQ(amountText(0), "0 B");
  EXPECT_EQ(amountText(1023), "1023 B");
  EXPECT_EQ(amountText(1024), "1.0 KiB");
  EXPECT_EQ(amountText(1.5 * mebi), "1.5 MiB");
  EXPECT_EQ(amountText(2048.0 * mebi), "2.0 GiB");
}

TEST(Progress, SmallFilesAreShownInBytes) {
  Progress progress(12, start);
  progress.advance(100);
  EXPECT_EQ(progress.line(start + seconds(2)), "100% of 12 B, 6 B/s");
  EXPECT_EQ(progress.bar(start + seconds(2), 40), "[################] 100%  12/12 B  6 B/s");
}

TEST(Progress, LongWaitsAreShownInHours) {
  Progress progress(100 * mebi, start);
  progress.advance(1);
  EXPECT_EQ(progress.line(start + seconds(100)), "1% of 100.0 MiB, 10.2 KiB/s, 2:45:00 left");
}

TEST(Progress, ValuesOutsideThePercentagesAreClamped) {
  Progress progress(100, start);
  progress.advance(-3);
  EXPECT_EQ(progress.percent(), 0);
  progress.advance(140);
  EXPECT_EQ(progress.percent(), 100);
  EXPECT_EQ(progress.bytes(), 100U);
}

}  // namespace
}  // namespace host
