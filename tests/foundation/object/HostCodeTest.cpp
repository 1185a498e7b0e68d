#include "foundation/object/HostCalls.h"
#include <KblUtils/HostCode.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using KBL::HostCalls;
using KBL::InsideHostCode;
using KBL::runHostCode;

namespace {

constexpr auto always = [] { return true; };
constexpr auto never = [] { return false; };

TEST(HostCode, MarksItsThreadAndNoOther) {
  EXPECT_FALSE(InsideHostCode::here());
  runHostCode(
      [] {
        runHostCode([] {}, [](const char*) {});
        EXPECT_TRUE(InsideHostCode::here());
        std::thread([] { EXPECT_FALSE(InsideHostCode::here()); }).join();
      },
      [](const char*) { ADD_FAILURE(); });
  EXPECT_FALSE(InsideHostCode::here());
}

TEST(HostCode, WhatItThrowsIsToldAndTheMarkGoes) {
  std::string told;
  const auto keep = [&](const char* what) { told += what; };
  runHostCode([] { throw std::runtime_error("spoilt, "); }, keep);
  runHostCode([] { throw 7; }, keep);
  EXPECT_EQ(told, "spoilt, an unknown exception");
  EXPECT_FALSE(InsideHostCode::here());
}

TEST(HostCalls, NoneBeginsThatMayNotOrBehindTheClosing) {
  HostCalls calls;
  EXPECT_TRUE(HostCalls::Call(calls, nullptr, always));
  EXPECT_FALSE(HostCalls::Call(calls, nullptr, never));
  calls.close();
  EXPECT_FALSE(HostCalls::Call(calls, nullptr, always));
  calls.waitUntilNone();
}

TEST(HostCalls, AWaitWithALimitTellsWhetherOneStillRuns) {
  HostCalls calls;
  EXPECT_TRUE(calls.waitUntilNone(std::chrono::milliseconds(0)));
  const HostCalls::Call running(calls, nullptr, always);
  EXPECT_FALSE(calls.waitUntilNone(std::chrono::milliseconds(1)));
}

TEST(HostCalls, AWaitForOneLeavesTheOthersAlone) {
  HostCalls calls;
  int one = 0;
  int other = 0;
  const HostCalls::Call running(calls, &one, always);
  const HostCalls::Call refused(calls, &other, never);
  calls.waitUntilNone(&other);
  EXPECT_TRUE(running);
}

TEST(HostCalls, AWaitEndsWithTheLastCall) {
  HostCalls calls;
  int one = 0;
  int other = 0;
  for (const void* const whom : {static_cast<const void*>(&one), static_cast<const void*>(nullptr)}) {
    std::atomic<int> left{0};
    std::atomic<bool> go{false};
    std::atomic<int> inside{0};
    std::vector<std::thread> threads;
    for (const void* const caller : {&one, &one, &other}) {
      threads.emplace_back([&, caller] {
        const HostCalls::Call call(calls, caller, always);
        ++inside;
        while (!go) std::this_thread::yield();
        if (whom == nullptr || caller == whom) ++left;
      });
    }
    while (inside < 3) std::this_thread::yield();
    std::thread opener([&] { go = true; });
    calls.waitUntilNone(whom);
    EXPECT_EQ(left, whom == nullptr ? 3 : 2);
    opener.join();
    for (auto& thread : threads) thread.join();
  }
}

}  // namespace
