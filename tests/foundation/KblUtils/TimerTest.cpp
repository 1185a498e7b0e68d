#include "support/ManualTimeSource.h"
#include "support/WaitUntil.h"
#include <KblUtils/Timer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

using KBL::Timer;

TEST(Timer, FirstTickComesAfterOnePeriod) {
  const ScopedManualTime time;
  std::atomic<int> ticks = 0;
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(3000, [&] { ++ticks; }));

  time->advance(2999);
  ASSERT_TRUE(time->waitForWaiters(1));
  EXPECT_EQ(ticks, 0);

  time->advance(1);
  EXPECT_TRUE(waitUntil([&] { return ticks == 1; }));
}

TEST(Timer, RepeatsEachPeriodUntilExpire) {
  const ScopedManualTime time;
  std::atomic<int> ticks = 0;
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(500, [&] { ++ticks; }));

  for (int expected = 1; expected <= 20; ++expected) {
    time->advance(500);
    ASSERT_TRUE(waitUntil([&] { return ticks == expected; })) << expected;
    ASSERT_TRUE(time->waitForWaiters(1));
  }

  EXPECT_EQ(timer.Expire(), 1);
  EXPECT_EQ(timer.Expire(), 0);
}

TEST(Timer, FiftyFiveMinutesPassInMilliseconds) {
  const ScopedManualTime time;
  constexpr int fiftyFiveMinutes = 55 * 60 * 1000;
  std::atomic<int> ticks = 0;
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(fiftyFiveMinutes, [&] { ++ticks; }));
  const auto begin = std::chrono::steady_clock::now();

  time->advance(fiftyFiveMinutes);

  EXPECT_TRUE(waitUntil([&] { return ticks == 1; }));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(Timer, TicksThatFallDueDuringARunningTickAreDropped) {
  const ScopedManualTime time;
  std::atomic<int> ticks = 0;
  std::promise<void> release;
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(100, [&] {
    if (++ticks == 1) release.get_future().wait();
  }));
  time->advance(100);
  ASSERT_TRUE(waitUntil([&] { return ticks == 1; }));

  time->advance(1050);
  release.set_value();
  ASSERT_TRUE(time->waitForWaiters(1));
  EXPECT_EQ(ticks, 1);

  time->advance(49);
  ASSERT_TRUE(time->waitForWaiters(1));
  EXPECT_EQ(ticks, 1);
  time->advance(1);
  EXPECT_TRUE(waitUntil([&] { return ticks == 2; }));
}

TEST(Timer, ExpireFromWithinTheTickEndsIt) {
  const ScopedManualTime time;
  std::atomic<int> ticks = 0;
  std::atomic<int> wasRunning = -1;
  auto last = std::make_shared<int>(0);
  const std::weak_ptr<int> ended = last;
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(10, [&, last = std::move(last)] {
    ++ticks;
    wasRunning = timer.Expire();
  }));

  time->advance(10);
  ASSERT_TRUE(waitUntil([&] { return ended.expired(); })) << "the thread still holds the function";

  EXPECT_EQ(wasRunning, 1);
  EXPECT_EQ(ticks, 1);
}

TEST(Timer, MayBeDestroyedFromWithinItsTick) {
  const ScopedManualTime time;
  std::atomic<bool> destroyed = false;
  auto timer = std::make_unique<Timer>();
  Timer* const ticking = timer.get();
  ASSERT_TRUE(ticking->StartTimer(10, [&] {
    timer.reset();
    destroyed = true;
  }));

  time->advance(10);

  EXPECT_TRUE(waitUntil([&] { return destroyed.load(); }));
}

TEST(Timer, NeitherExpireNorTheDestructorWaitForARunningTick) {
  const ScopedManualTime time;
  std::promise<void> release;
  const std::shared_future<void> released = release.get_future().share();
  std::promise<void> begun;
  auto finished = std::make_shared<std::atomic<bool>>(false);
  {
    Timer timer;
    ASSERT_TRUE(timer.StartTimer(10, [&begun, released, finished] {
      begun.set_value();
      released.wait();
      *finished = true;
    }));
    time->advance(10);
    begun.get_future().wait();

    EXPECT_EQ(timer.Expire(), 1);
  }

  EXPECT_FALSE(*finished);
  release.set_value();
  EXPECT_TRUE(waitUntil([&] { return finished->load(); }));
}

TEST(Timer, NoTickBeginsAfterExpireReturned) {
  constexpr int rounds = 300;
  for (int round = 0; round < rounds; ++round) {
    const auto ticks = std::make_shared<std::atomic<int>>(0);
    Timer timer;
    ASSERT_TRUE(timer.StartTimer(1, [ticks] { ++*ticks; }));
    ASSERT_TRUE(waitUntil([&] { return *ticks > 0; }));

    timer.Expire();
    const int ticksAtExpiry = *ticks;

    // The thread lets go of the function when it has ended.
    ASSERT_TRUE(waitUntil([&] { return ticks.use_count() == 1; }));
    ASSERT_LE(*ticks, ticksAtExpiry + 1) << "more than the one that ran already when Expire came";
  }
}

TEST(Timer, ExpireWinsAgainstATickThatIsDue) {
  const ScopedManualTime time;
  const auto ticks = std::make_shared<std::atomic<int>>(0);
  std::promise<void> release;
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(10, [ticks, &release] {
    if (++*ticks == 1) release.get_future().wait();
  }));
  time->advance(10);
  ASSERT_TRUE(waitUntil([&] { return *ticks == 1; }));

  timer.Expire();
  time->advance(1000);
  release.set_value();

  ASSERT_TRUE(waitUntil([&] { return ticks.use_count() == 1; }));
  EXPECT_EQ(*ticks, 1);
}

TEST(Timer, StartingAnewEndsTheFormerRepetition) {
  const ScopedManualTime time;
  std::atomic<int> former = 0;
  std::atomic<int> latter = 0;
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(10, [&] { ++former; }));
  ASSERT_TRUE(timer.StartTimer(20, [&] { ++latter; }));

  time->advance(20);

  ASSERT_TRUE(waitUntil([&] { return latter == 1; }));
  EXPECT_EQ(former, 0);
}

TEST(Timer, StartsAgainAfterExpire) {
  const ScopedManualTime time;
  std::atomic<int> ticks = 0;
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(10, [&] { ++ticks; }));
  timer.Expire();
  ASSERT_TRUE(timer.StartTimer(10, [&] { ++ticks; }));

  time->advance(10);

  EXPECT_TRUE(waitUntil([&] { return ticks == 1; }));
}

TEST(Timer, MayStartItselfAnewFromWithinItsTick) {
  const ScopedManualTime time;
  std::atomic<int> ticks = 0;
  Timer timer;
  const std::function<void()> next = [&] { ++ticks; };
  ASSERT_TRUE(timer.StartTimer(10, [&] { timer.StartTimer(30, next); }));

  time->advance(10);
  EXPECT_TRUE(time->advanceUntil([&] { return ticks > 0; }, 30));
}

TEST(Timer, ExceptionEndsThatTickAlone) {
  const ScopedManualTime time;
  std::atomic<int> ticks = 0;
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(10, [&] {
    ++ticks;
    if (ticks == 1) throw std::runtime_error("a tick failed");
    if (ticks == 2) throw 17;
  }));

  EXPECT_TRUE(time->advanceUntil([&] { return ticks == 3; }, 10));
}

TEST(Timer, PeriodBelowOneCountsAsOneMillisecond) {
  const ScopedManualTime time;
  for (const int period : {0, -5}) {
    std::atomic<int> ticks = 0;
    Timer timer;
    ASSERT_TRUE(timer.StartTimer(period, [&] { ++ticks; }));
    ASSERT_TRUE(time->waitForWaiters(1));
    EXPECT_EQ(ticks, 0);

    time->advance(1);

    EXPECT_TRUE(waitUntil([&] { return ticks == 1; }));
    timer.Expire();
  }
}

TEST(Timer, EmptyFunctionTicksToNoEffect) {
  const ScopedManualTime time;
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(10, nullptr));

  time->advance(10);

  EXPECT_TRUE(time->waitForWaiters(1));
  EXPECT_EQ(timer.Expire(), 1);
}

TEST(Timer, ExpireEndsALongWaitAtOnce) {
  const auto held = std::make_shared<int>(0);
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(24 * 60 * 60 * 1000, [held] {}));

  EXPECT_EQ(timer.Expire(), 1);

  EXPECT_TRUE(waitUntil([&] { return held.use_count() == 1; }));
}

TEST(Timer, AsksItsClockUnderNoLock) {
  Timer timer;
  std::vector<std::future<int>> others;
  std::atomic<int> ended = 0;
  // Once on the thread that starts the timer and once on the timer's own, whose run that ends.
  const ScopedManualTime time;
  time->whenAsked([&] {
    others.push_back(std::async(std::launch::async, [&] { return timer.Expire(); }));
    if (others.back().wait_for(generousLimit) == std::future_status::ready) ++ended;
  });

  ASSERT_TRUE(timer.StartTimer(1000, [] {}));

  EXPECT_TRUE(waitUntil([&] { return ended == 2; }));
}

TEST(Timer, RunsOnTheSystemClock) {
  std::atomic<int> ticks = 0;
  std::atomic<std::int64_t> firstAfterMs = 0;
  const auto begin = std::chrono::steady_clock::now();
  Timer timer;
  ASSERT_TRUE(timer.StartTimer(20, [&] {
    if (ticks++ > 0) return;
    firstAfterMs =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin)
            .count();
  }));

  ASSERT_TRUE(waitUntil([&] { return ticks >= 3; }));

  EXPECT_GE(firstAfterMs, 19);
}

TEST(Timer, ManyTimersTickAndExpireFromManyThreads) {
  constexpr int threads = 8;
  constexpr int timers = 25;
  std::atomic<int> ticked = 0;
  std::vector<std::thread> workers;
  for (int worker = 0; worker < threads; ++worker) {
    workers.emplace_back([&] {
      for (int count = 0; count < timers; ++count) {
        const auto ticks = std::make_shared<std::atomic<int>>(0);
        Timer timer;
        timer.StartTimer(1, [ticks] { ++*ticks; });
        if (waitUntil([&] { return *ticks > 0; })) ++ticked;
      }
    });
  }
  for (std::thread& worker : workers) worker.join();

  EXPECT_EQ(ticked, threads * timers);
}
