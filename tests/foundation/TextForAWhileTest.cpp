#include "foundation/TextForAWhile.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace {

using KBL::TextForAWhile;
using std::chrono::minutes;
using std::chrono::seconds;

TEST(TextForAWhile, IsReadAgainOnceItIsOld) {
  int reads = 0;
  TextForAWhile text([&reads] { return std::to_string(++reads); }, minutes(5));
  const TextForAWhile::Clock::time_point begin{};

  EXPECT_EQ(text.at(begin), "1");
  EXPECT_EQ(text.at(begin + minutes(5) - seconds(1)), "1");
  EXPECT_EQ(text.at(begin + minutes(5)), "2");
  EXPECT_EQ(text.at(begin + minutes(9)), "2");
}

TEST(TextForAWhile, ThatIsEmptyIsNotKept) {
  int reads = 0;
  TextForAWhile text([&reads] { return ++reads < 3 ? std::string() : "text"; }, minutes(5));
  const TextForAWhile::Clock::time_point begin{};

  EXPECT_EQ(text.at(begin), "");
  EXPECT_EQ(text.at(begin), "");
  EXPECT_EQ(text.at(begin), "text");
}

}  // namespace
