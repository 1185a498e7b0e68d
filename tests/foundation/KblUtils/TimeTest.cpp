#include "support/ManualTimeSource.h"
#include "support/WaitUntil.h"
#include <KblUtils/TimeSource.h>
#include <KblUtils/TimeUtil.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <regex>
#include <thread>

using KBL::TimeSpan;
using KBL::TimeUtil;

TEST(TimeSpan, IsZeroBeforeStartOrEnd) {
  const ScopedManualTime time;
  TimeSpan span;
  time->advance(50);
  EXPECT_EQ(span.timeSpan(), 0);
  EXPECT_EQ(span.elapsedMs(), 0);
  EXPECT_EQ(span.end().timeSpan(), 0);

  span.start();
  time->advance(50);
  EXPECT_EQ(span.timeSpan(), 0);
}

TEST(TimeSpan, MeasuresFromStartToEnd) {
  const ScopedManualTime time;
  TimeSpan span;
  span.start();

  time->advance(180'000);
  EXPECT_EQ(span.elapsedMs(), 180'000);
  EXPECT_EQ(span.end().timeSpan(), 180'000);

  time->advance(1);
  EXPECT_EQ(span.timeSpan(), 180'000);
  EXPECT_EQ(&span.end(), &span);
  EXPECT_EQ(span.timeSpan(), 180'001);
}

TEST(TimeSpan, StartBeginsAnew) {
  const ScopedManualTime time;
  TimeSpan span;
  span.start();
  time->advance(70);
  span.end();

  span.start();
  EXPECT_EQ(span.timeSpan(), 0);
  time->advance(5);

  EXPECT_EQ(span.end().timeSpan(), 5);
}

TEST(TimeSpan, IsNotMovedByTheWallClock) {
  const ScopedManualTime time;
  TimeSpan span;
  span.start();

  time->setNowSinceEpochMs(5);

  EXPECT_EQ(span.end().timeSpan(), 0);
}

TEST(TimeSpan, IsReadWhileAnotherThreadStartsItAnew) {
  TimeSpan span;
  std::atomic<bool> done = false;
  std::thread starter([&] {
    for (int round = 0; round < 20'000; ++round) span.start();
    done = true;
  });
  std::int64_t least = 0;
  while (!done) least = std::min({least, span.elapsedMs(), span.end().timeSpan()});
  starter.join();

  EXPECT_GE(least, 0);
}

TEST(TimeUtil, NowIsTheWallClockInMilliseconds) {
  const auto before = static_cast<std::uint64_t>(std::time(nullptr)) * 1000;
  const std::uint64_t now = TimeUtil::nowSinceEpoch();

  EXPECT_GE(now, before);
  EXPECT_LT(now, before + 60'000);
}

TEST(TimeUtil, NowComesFromTheTimeSource) {
  const ScopedManualTime time(1'234'567'890'123);

  EXPECT_EQ(TimeUtil::nowSinceEpoch(), 1'234'567'890'123U);
}

TEST(TimeUtil, FormatsTheLocalTime) {
  const ScopedManualTime time(1'234'567'890'999);
  const std::time_t moment = 1'234'567'890;
  char expected[64] = {};
  ASSERT_NE(std::strftime(expected, sizeof(expected), "%Y/%m/%d %H:%M:%S", std::localtime(&moment)), 0U);

  EXPECT_EQ(TimeUtil::now("%Y/%m/%d %H:%M:%S"), expected);
  EXPECT_TRUE(
      std::regex_match(TimeUtil::now("%Y/%m/%d %H:%M:%S"), std::regex(R"(2009/02/1[34] \d\d:\d\d:\d\d)")));
  EXPECT_EQ(TimeUtil::now(""), "");
  EXPECT_EQ(TimeUtil::now("100%%"), "100%");
}

TEST(TimeUtil, FormatsOfAnyLengthAreWhole) {
  const ScopedManualTime time;
  const std::string text(5000, 'x');

  EXPECT_EQ(TimeUtil::now(text), text);
}

TEST(TimeUtil, SleepEndsWhenTheTimeHasCome) {
  const ScopedManualTime time;
  std::atomic<bool> woke = false;
  std::thread sleeper([&] {
    TimeUtil::sleepMs(100);
    woke = true;
  });
  ASSERT_TRUE(time->waitForWaiters(1));
  time->advance(99);
  ASSERT_TRUE(time->waitForWaiters(1));
  EXPECT_FALSE(woke);

  time->advance(1);

  sleeper.join();
  EXPECT_TRUE(woke);
}

TEST(TimeUtil, SleepOfNothingReturnsAtOnce) {
  const ScopedManualTime time;

  TimeUtil::sleepMs(0);
  TimeUtil::sleepMs(-100);

  EXPECT_EQ(time->waiters(), 0U);
}

TEST(TimeUtil, SleepsOnTheSystemClock) {
  const auto begin = std::chrono::steady_clock::now();

  TimeUtil::sleepMs(30);

  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(29));
}

TEST(TimeSource, NullRestoresTheSystemClock) {
  KBL::setTimeSource(std::make_shared<ManualTimeSource>(5));
  EXPECT_EQ(TimeUtil::nowSinceEpoch(), 5U);

  KBL::setTimeSource(nullptr);

  EXPECT_GT(TimeUtil::nowSinceEpoch(), 1'600'000'000'000U);
}

TEST(TimeSource, WhoeverWaitsGoesOnWithTheSourceItStartedWith) {
  const auto former = std::make_shared<ManualTimeSource>();
  KBL::setTimeSource(former);
  std::thread sleeper([] { TimeUtil::sleepMs(1000); });
  const bool waits = former->waitForWaiters(1);
  KBL::setTimeSource(nullptr);

  former->advance(1000);

  sleeper.join();
  EXPECT_TRUE(waits);
}

TEST(TimeSource, IsReplacedWhileOthersReadIt) {
  std::atomic<bool> done = false;
  std::thread reader([&] {
    while (!done) (void)TimeUtil::nowSinceEpoch();
  });

  for (int round = 0; round < 2000; ++round) {
    KBL::setTimeSource(round % 2 == 0 ? std::make_shared<ManualTimeSource>() : nullptr);
  }
  KBL::setTimeSource(nullptr);
  done = true;
  reader.join();

  EXPECT_NE(KBL::timeSource(), nullptr);
}
