#include "report/FetchMeter.h"

#include <gtest/gtest.h>

#include <string>

namespace host {
namespace {

constexpr std::chrono::seconds twoSeconds(2);

TEST(FetchMeter, ShowsEntriesAmountAndRate) {
  EXPECT_EQ(FetchMeter::bar(5, 10, 2048, twoSeconds, 48), "[##########-----------] 5/10  2.0 KiB  1.0 KiB/s");
}

TEST(FetchMeter, LeavesOutWhatHasNoRoom) {
  EXPECT_EQ(FetchMeter::bar(5, 10, 2048, twoSeconds, 19), "5/10  2.0 KiB");
  EXPECT_EQ(FetchMeter::bar(5, 10, 2048, twoSeconds, 3), "5/1");
  for (int width = 0; width < 120; ++width) {
    EXPECT_LE(FetchMeter::bar(99, 100, 123456789, twoSeconds, width).size(), static_cast<std::size_t>(width));
  }
}

TEST(FetchMeter, IsFullAtTheEnd) {
  const std::string bar = FetchMeter::bar(10, 10, 0, twoSeconds, 79);
  EXPECT_EQ(bar.find('-'), std::string::npos);
}

}  // namespace
}  // namespace host
