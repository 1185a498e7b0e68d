// Values that come once, and the queue that carries work to one thread.
#include <ExternlMediaTransfer/host/Eventual.h>

#include <gmock/gmock.h>

#include <coroutine>
#include <stdexcept>
#include <thread>

using namespace std::chrono_literals;
using KBL::host::EventQueue;
using KBL::host::Eventual;
using KBL::host::Promise;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr auto generous = 30s;

TEST(Eventual, IsWaitedForAndComesOnce) {
  const Promise<int> promise;
  const Eventual<int> value = promise.eventual();
  EXPECT_FALSE(value.get());
  EXPECT_FALSE(value.waitFor(1ms));
  std::thread bringer([&] { EXPECT_TRUE(promise.set(7)); });
  EXPECT_EQ(value.waitFor(generous), 7);
  bringer.join();
  EXPECT_FALSE(promise.set(8));
  EXPECT_EQ(value.get(), 7);
}

TEST(Eventual, IsTakenUpByFunctionsAheadAndBehind) {
  std::vector<int> taken;
  const Promise<int> promise;
  const Eventual<int> value = promise.eventual();
  value.then([&](int number) { taken.push_back(number); });
  EXPECT_THAT(taken, IsEmpty());
  promise.set(7);
  value.then([&](int number) { taken.push_back(number + 1); });
  EXPECT_THAT(taken, ElementsAre(7, 8));
}

TEST(Eventual, IsTakenUpWhereTheExecutorBringsIt) {
  EventQueue queue;
  int taken = 0;
  const Promise<int> promise(queue.executor());
  promise.eventual().then([&](int number) { taken = number; });
  promise.set(7);
  EXPECT_EQ(taken, 0);
  EXPECT_EQ(promise.eventual().get(), 7) << "who waits needs no queue";
  EXPECT_EQ(queue.run(), 1U);
  EXPECT_EQ(taken, 7);
  promise.eventual().then([&](int number) { taken = number + 1; });
  EXPECT_EQ(taken, 7);
  queue.run();
  EXPECT_EQ(taken, 8);
}

TEST(Eventual, IsTakenUpByTheOthersWhenOneThrows) {
  int taken = 0;
  const Promise<int> promise;
  promise.eventual().then([](int) { throw std::runtime_error("no"); });
  promise.eventual().then([&](int number) { taken = number; });
  EXPECT_NO_THROW(promise.set(7));
  EXPECT_EQ(taken, 7);
}

TEST(Eventual, FillsAFuture) {
  const Promise<std::string> promise;
  auto future = promise.eventual().future();
  promise.set("done");
  EXPECT_EQ(future.get(), "done");
}

/// A coroutine that nobody asks for a value.
struct Detached {
  struct promise_type {
    Detached get_return_object() { return {}; }
    std::suspend_never initial_suspend() { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() {}
    void unhandled_exception() { std::terminate(); }
  };
};

Detached addTo(std::vector<int>& sum, Eventual<int> first, Eventual<int> second) {
  sum.push_back(co_await first);
  sum.push_back(co_await second);
}

TEST(Eventual, IsAwaitedByACoroutine) {
  EventQueue queue;
  const Promise<int> first(queue.executor());
  const Promise<int> second;
  second.set(2);
  std::vector<int> sum;
  addTo(sum, first.eventual(), second.eventual());
  first.set(1);
  EXPECT_THAT(sum, IsEmpty());
  queue.run();
  EXPECT_THAT(sum, ElementsAre(1, 2));
}

TEST(EventQueue, RunsInOrderOnTheThreadThatAsks) {
  EventQueue queue;
  std::vector<std::thread::id> ran;
  std::vector<int> order;
  std::thread([&] {
    for (int number = 0; number < 3; ++number) {
      queue.executor()([&, number] {
        order.push_back(number);
        ran.push_back(std::this_thread::get_id());
      });
    }
  }).join();
  EXPECT_EQ(queue.run(), 3U);
  EXPECT_THAT(order, ElementsAre(0, 1, 2));
  EXPECT_THAT(ran, testing::Each(std::this_thread::get_id()));
  EXPECT_EQ(queue.run(), 0U);
}

TEST(EventQueue, WaitsForTheFirstAndTakesTheRest) {
  EventQueue queue;
  EXPECT_EQ(queue.runFor(1ms), 0U);
  int count = 0;
  std::thread bringer([executor = queue.executor(), &count] { executor([&count] { ++count; }); });
  EXPECT_EQ(queue.runFor(generous), 1U);
  bringer.join();
  EXPECT_EQ(count, 1);
}

TEST(EventQueue, WakesTheLoopForEachPiece) {
  int woken = 0;
  EventQueue queue([&] { ++woken; });
  queue.executor()([] {});
  queue.executor()([] {});
  EXPECT_EQ(woken, 2);
}

TEST(EventQueue, KeepsTheRestBehindWorkThatThrows) {
  EventQueue queue;
  int count = 0;
  queue.executor()([] { throw std::runtime_error("no"); });
  queue.executor()([&] { ++count; });
  EXPECT_THROW(queue.run(), std::runtime_error);
  queue.run();
  EXPECT_EQ(count, 1);
}

/// Brings a piece of work when it goes, as an object of a host does whose end somebody waits for.
std::shared_ptr<void> bringerAtItsEnd(const KBL::host::Executor& executor, int& count) {
  return {nullptr, [executor, &count](void*) { executor([&count] { ++count; }); }};
}

TEST(EventQueue, TakesWhatItsOwnWorkLeavesBehind) {
  EventQueue queue;
  int count = 0;
  queue.executor()([kept = bringerAtItsEnd(queue.executor(), count)] {});
  EXPECT_EQ(queue.run(), 2U);
  queue.executor()([kept = bringerAtItsEnd(queue.executor(), count)] {});
  EXPECT_EQ(queue.runFor(generous), 2U);
  EXPECT_EQ(count, 2);
}

TEST(EventQueue, MayGoWithWorkThatBringsMoreAtItsEnd) {
  int count = 0;
  {
    EventQueue queue;
    queue.executor()([kept = bringerAtItsEnd(queue.executor(), count)] {});
  }
  EXPECT_EQ(count, 0);
}

TEST(EventQueue, DropsWhatComesBehindItsEnd) {
  int count = 0;
  KBL::host::Executor executor;
  {
    EventQueue queue;
    executor = queue.executor();
    executor([&] { ++count; });
  }
  executor([&] { ++count; });
  EXPECT_EQ(count, 0);
}

}  // namespace
