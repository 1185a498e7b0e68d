#include "sandbox/state/ArrivalBook.h"

#include <gmock/gmock.h>

#include <numeric>
#include <string>
#include <thread>
#include <vector>

namespace {

using sandbox::Arrival;
using sandbox::ArrivalBook;
using sandbox::RateCurve;
using std::chrono::milliseconds;
using testing::ElementsAre;

constexpr std::size_t mebibyte = std::size_t{1024} * 1024;

std::uint64_t sum(const RateCurve& curve) {
  return std::accumulate(curve.bytes().begin(), curve.bytes().end(), std::uint64_t{0});
}

void take(ArrivalBook& book, const std::string& id, std::uint64_t offset, const std::string& bytes) {
  Arrival(&book, id, "youtube", 0).take(offset, bytes.data(), bytes.size());
}

TEST(RateCurve, CountsTheBytesOfEachStep) {
  RateCurve curve;
  curve.add(milliseconds(0), 1);
  curve.add(milliseconds(99), 2);
  curve.add(milliseconds(300), 4);

  EXPECT_EQ(curve.step(), milliseconds(100));
  EXPECT_THAT(curve.bytes(), ElementsAre(3U, 0U, 0U, 4U));
}

TEST(RateCurve, StepsGrowWithTheTimeAndLoseNothing) {
  RateCurve curve;
  for (int at = 0; at < 1000; ++at) curve.add(milliseconds(at * 100), 1);

  EXPECT_EQ(curve.step(), milliseconds(1600));
  EXPECT_LE(curve.bytes().size(), RateCurve::mostSteps);
  EXPECT_EQ(sum(curve), 1000U);
  EXPECT_EQ(curve.bytes().front(), 16U);

  curve.add(std::chrono::hours(100), 5);
  EXPECT_LE(curve.bytes().size(), RateCurve::mostSteps);
  EXPECT_EQ(sum(curve), 1005U);
  EXPECT_EQ(curve.bytes().front(), 1000U);
  EXPECT_EQ(curve.bytes().back(), 5U);
}

TEST(Arrivals, KeepWhatCameAcrossBlocks) {
  ArrivalBook book(8 * mebibyte);
  const std::string file = std::string(mebibyte - 1, 'a') + std::string(3, 'b') + std::string(mebibyte, 'c');

  take(book, "one", 0, file.substr(0, 1000));
  take(book, "one", 1000, file.substr(1000));

  EXPECT_EQ(book.readKept("one", 0, file.size() + 7), file);
  EXPECT_EQ(book.readKept("one", mebibyte - 2, 4), "abbb");
  EXPECT_EQ(book.readKept("one", file.size(), 1), std::nullopt);
  EXPECT_EQ(book.readKept("two", 0, 1), std::nullopt);
  EXPECT_EQ(book.one("one")->start, std::string(16, 'a'));
  EXPECT_EQ(book.one("one")->position, file.size());
}

TEST(Arrivals, WhatComesOnceMoreReplacesItself) {
  ArrivalBook book(8 * mebibyte);
  take(book, "one", 0, "abcdef");
  take(book, "one", 2, "XY");
  EXPECT_EQ(book.readKept("one", 0, 100), "abXY");

  take(book, "one", 4, "ZZZ");
  EXPECT_EQ(book.readKept("one", 0, 100), "abXYZZZ");
}

TEST(Arrivals, MakeRoomForEachOtherTheOldestFirst) {
  ArrivalBook book(2 * mebibyte);
  take(book, "one", 0, "1");
  take(book, "two", 0, "2");
  take(book, "three", 0, "3");

  EXPECT_FALSE(book.one("one")->isKept);
  EXPECT_EQ(book.readKept("one", 0, 1), std::nullopt);
  EXPECT_EQ(book.readKept("two", 0, 1), "2");
  EXPECT_EQ(book.readKept("three", 0, 1), "3");
}

TEST(Arrivals, OfOneThatIsLargerThanTheLimitNothingIsKept) {
  ArrivalBook book(2 * mebibyte);
  take(book, "large", 0, std::string(2 * mebibyte, 'x'));
  EXPECT_TRUE(book.one("large")->isKept);

  take(book, "large", 2 * mebibyte, "y");
  EXPECT_FALSE(book.one("large")->isKept);
  EXPECT_EQ(book.one("large")->position, 2 * mebibyte + 1);
  EXPECT_EQ(sum(book.one("large")->curve), 2 * mebibyte + 1);

  take(book, "small", 0, "z");
  EXPECT_EQ(book.readKept("small", 0, 1), "z");
}

TEST(Arrivals, NothingIsKeptBehindAGap) {
  ArrivalBook book(8 * mebibyte);
  take(book, "one", 3 * mebibyte, "x");
  EXPECT_FALSE(book.one("one")->isKept);
}

TEST(Arrivals, OldUploadsAreForgotten) {
  ArrivalBook book(mebibyte);
  for (std::size_t number = 0; number <= ArrivalBook::uploadLimit; ++number) {
    take(book, std::to_string(number), 0, "x");
  }
  EXPECT_EQ(book.all().size(), ArrivalBook::uploadLimit);
  EXPECT_FALSE(book.one("0"));
  EXPECT_TRUE(book.one("1"));
}

TEST(Arrivals, WithoutABookNothingHappens) {
  const Arrival arrival(nullptr, "one", "youtube", 1);
  arrival.take(0, "x", 1);
  EXPECT_EQ(arrival.uploadId(), "one");
}

TEST(Arrivals, SeveralComeAtOnceWhileSomebodyLooks) {
  ArrivalBook book(8 * mebibyte);
  std::vector<std::thread> senders;
  for (int number = 0; number < 4; ++number) {
    senders.emplace_back([&book, number] {
      const std::string piece(1000, static_cast<char>('a' + number));
      for (std::uint64_t at = 0; at < 500; ++at) take(book, std::to_string(number), at * piece.size(), piece);
    });
  }
  while (book.all().size() < 4 || book.one("3")->position < 1000) std::this_thread::yield();
  for (std::thread& sender : senders) sender.join();

  EXPECT_EQ(book.readKept("2", 0, mebibyte), std::string(500'000, 'c'));
}

}  // namespace
