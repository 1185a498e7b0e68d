#include "host/Checkup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace host {
namespace {

using State = Check::State;
using testing::HasSubstr;

ProbeResult answered(std::int64_t secondsAhead) {
  // 784111777 s since the epoch
  return {"http://h", 0, "", "Sun, 06 Nov 1994 08:49:37 GMT", 784111777 + secondsAhead};
}

TEST(HttpDate, IsReadToTheSecond) {
  EXPECT_EQ(secondsOfHttpDate("Thu, 01 Jan 1970 00:00:00 GMT"), 0);
  EXPECT_EQ(secondsOfHttpDate("Sun, 06 Nov 1994 08:49:37 GMT"), 784111777);
  EXPECT_EQ(secondsOfHttpDate("Thu, 29 Feb 2024 23:59:59 GMT"), 1709251199);
}

TEST(HttpDate, OfAnotherFormIsNone) {
  for (const char* text : {"", "now", "Sun, 06 Nov 1994 08:49:37 CET", "Sun, 06 Nvo 1994 08:49:37 GMT",
                           "Sun, 30 Feb 2023 08:49:37 GMT", "Sun, 06 Nov 1994 08.49.37 GMT",
                           "Sun, -6 Nov 1994 08:49:37 GMT", "Sun, 06 anF 1994 08:49:37 GMT"}) {
    EXPECT_EQ(secondsOfHttpDate(text), std::nullopt) << text;
  }
}

TEST(Checkup, TellsHowFarTheClockIsOff) {
  EXPECT_EQ(checkClock({answered(0)}).state, State::ok);
  EXPECT_EQ(checkClock({answered(59)}).state, State::ok);
  EXPECT_EQ(checkClock({answered(60)}).state, State::warning);
  EXPECT_EQ(checkClock({answered(-300)}).state, State::fault);
  EXPECT_THAT(checkClock({answered(-300)}).text, HasSubstr("300 s behind"));
  EXPECT_THAT(checkClock({answered(4000)}).text, HasSubstr("4000 s ahead of"));
}

TEST(Checkup, BelievesTheNearestOfSeveralClocks) {
  EXPECT_EQ(checkClock({answered(-9000), answered(3), answered(500)}).state, State::ok);
}

TEST(Checkup, ComparesNoClockWithoutATime) {
  EXPECT_THAT(checkClock({}).text, HasSubstr("not compared"));
  EXPECT_THAT(checkClock({{"http://h", 200007, "refused", "", 0}}).text, HasSubstr("not compared"));
}

TEST(Checkup, NamesEachAddressOnceWithItsUse) {
  const auto addresses = addressesOf(R"({"urlB": "https://H:443/b", "urlA": "https://h/a", "x": "no address",
                                         "urlLFServerUserSupportToken": "http://h:8/t", "n": 3})");
  ASSERT_EQ(addresses.size(), 2U);
  EXPECT_EQ(addresses[0].origin, "http://h:8");
  EXPECT_EQ(addresses[0].use, "the account server");
  EXPECT_EQ(addresses[1].origin, "https://h");
  EXPECT_EQ(addresses[1].use, "urlA and 1 other");
}

TEST(Checkup, FindsNoAddressInWhatIsNoTable) {
  for (const char* text : {"", "[]", "{", "3", "[[[[[[[[[]]]]]]]]]"}) EXPECT_TRUE(addressesOf(text).empty());
}

TEST(Checkup, TellsAnUntrustedCertificateFromADeadServer) {
  const Address address{"https://h", "x"};
  const auto text = [&](int code) {
    return checkReply(address, {"https://h", code, "why", "", 0}, false).text;
  };
  EXPECT_THAT(text(200060), HasSubstr("not trusted (200060: why)"));
  EXPECT_THAT(text(200007), HasSubstr("cannot be reached (200007: why)"));
  EXPECT_THAT(checkReply(address, {"https://h", 200007, "", "", 0}, true).remedy, HasSubstr("the proxy"));
}

TEST(Checkup, WhoRefusesAStrangerHasReadTheAuthorities) {
  const auto state = [](int code) { return checkAuthorities({"https://h", code, "", "", 0}).state; };
  EXPECT_EQ(state(200060), State::ok);
  EXPECT_EQ(state(200077), State::fault);
  EXPECT_EQ(state(0), State::warning);
}

TEST(Checkup, TakesARemedyOutOfAFailure) {
  const Check check = checkOf("x", Failure(Cause::file, "it is gone; bring it back; soon"));
  EXPECT_EQ(check.text, "it is gone");
  EXPECT_EQ(check.remedy, "bring it back; soon");
  EXPECT_EQ(checkOf("x", Failure(Cause::file, "it is gone")).remedy, "");
}

}  // namespace
}  // namespace host
